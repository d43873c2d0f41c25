// The host's state: one SQLite database, accessed through a pool of connections.
//
// Any thread may use the store. `body` runs while a connection is held: it must be quick, start no
// other operation and not fork (see pool.h). Failures of the database are thrown as
// QueltCtlException with the file and the reason.
#pragma once

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "embedded_host/store/connection.h"
#include "embedded_host/store/failure.h"
#include "embedded_host/store/pool.h"
#include "embedded_host/store/transaction.h"

namespace quelt {

class Store {
 public:
  /// The store of this process. The first use determines its path.
  static Store Instance() { return Store(ConnectionPool()); }

  /// Runs `body(Connection&)` without a transaction.
  template <typename Body>
  auto Read(Body&& body) {
    return WithConnection(Pool::Use::kRead, std::forward<Body>(body));
  }

  /// Runs `body(Connection&)` in a read transaction.
  template <typename Body>
  auto Snapshot(Body&& body) {
    return InTransaction(Pool::Use::kRead, Transaction::Kind::kRead, std::forward<Body>(body));
  }

  /// Runs `body(Connection&)` in a write transaction, committed when it returns.
  template <typename Body>
  auto Write(Body&& body) {
    return InTransaction(Pool::Use::kWrite, Transaction::Kind::kWrite, std::forward<Body>(body));
  }

  /// As Write, without waiting for the disk: the changes survive a crash of the process, but a
  /// crash of the machine may lose them.
  template <typename Body>
  void WriteRelaxed(Body&& body) {
    WithConnection(Pool::Use::kWrite, [&](Connection& connection) {
      const RelaxedDurability relaxed(connection);
      Transaction transaction(connection, Transaction::Kind::kWrite);
      std::forward<Body>(body)(connection);
      transaction.Commit();
    });
  }

  const std::string& path() const { return pool_.place().path; }

 private:
  /// Holds a connection of the pool.
  class Lease {
   public:
    Lease(Pool& pool, Pool::Use use) : pool_(pool), use_(use), connection_(pool.Acquire(use)) {}
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    ~Lease() { pool_.Release(std::move(connection_), use_); }
    Connection& connection() const { return *connection_; }

   private:
    Pool& pool_;
    const Pool::Use use_;
    std::unique_ptr<Connection> connection_;
  };

  template <typename Body>
  auto WithConnection(Pool::Use use, Body&& body) {
    const Lease lease(pool_, use);
    try {
      return std::forward<Body>(body)(lease.connection());
    } catch (const SQLite::Exception& failure) {
      ThrowDatabaseFailure(pool_.place(), lease.connection(), failure);
    }
  }

  template <typename Body>
  auto InTransaction(Pool::Use use, Transaction::Kind kind, Body&& body) {
    return WithConnection(use, [&](Connection& connection) {
      Transaction transaction(connection, kind);
      if constexpr (std::is_void_v<std::invoke_result_t<Body, Connection&>>) {
        std::forward<Body>(body)(connection);
        transaction.Commit();
      } else {
        auto result = std::forward<Body>(body)(connection);
        transaction.Commit();
        return result;
      }
    });
  }

  explicit Store(Pool& pool) : pool_(pool) {}

  Pool& pool_;
};

}  // namespace quelt
