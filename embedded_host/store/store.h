// The host's state: one SQLite database, reached through a pool of connections.
//
// Any thread may use the store. It is made at its first use and never destroyed: at exit, daemon
// threads may still be inside.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "embedded_host/store/connection.h"

namespace quelt {

class Store {
 public:
  /// The store of this process. Its path is decided at the first call.
  static Store& Instance();

  /// Runs `body(Connection&)` with one connection and no transaction around it.
  template <typename Body>
  auto Read(Body&& body) {
    const Lease lease(*this);
    return std::forward<Body>(body)(lease.connection());
  }

  /// Runs `body(Connection&)` in a read transaction.
  template <typename Body>
  auto Snapshot(Body&& body) {
    return InTransaction("BEGIN", std::forward<Body>(body));
  }

  /// Runs `body(Connection&)` in a write transaction, committed when it returns.
  template <typename Body>
  auto Write(Body&& body) {
    return InTransaction("BEGIN IMMEDIATE", std::forward<Body>(body));
  }

  const std::string& path() const { return path_; }

 private:
  /// A connection out of the pool, given back at the end.
  class Lease {
   public:
    explicit Lease(Store& store) : store_(store), connection_(store.Take()) {}
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    ~Lease() { store_.GiveBack(std::move(connection_)); }
    Connection& connection() const { return *connection_; }

   private:
    Store& store_;
    std::unique_ptr<Connection> connection_;
  };

  /// A transaction that is rolled back unless it was committed.
  class Transaction {
   public:
    Transaction(Connection& connection, const char* begin) : connection_(connection) {
      connection_.Execute(begin);
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();
    void Commit() {
      connection_.Execute("COMMIT");
      open_ = false;
    }

   private:
    Connection& connection_;
    bool open_ = true;
  };

  template <typename Body>
  auto InTransaction(const char* begin, Body&& body) {
    const Lease lease(*this);
    Transaction transaction(lease.connection(), begin);
    if constexpr (std::is_void_v<std::invoke_result_t<Body, Connection&>>) {
      std::forward<Body>(body)(lease.connection());
      transaction.Commit();
    } else {
      auto result = std::forward<Body>(body)(lease.connection());
      transaction.Commit();
      return result;
    }
  }

  explicit Store(std::string path);
  std::unique_ptr<Connection> Take();
  void GiveBack(std::unique_ptr<Connection> connection);

  const std::string path_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<Connection>> idle_;
};

}  // namespace quelt
