// Transactions, and the durability of their commits.
#pragma once

#include "embedded_host/store/connection.h"

namespace quelt {

/// Rolls back in its destructor unless it was committed.
class Transaction {
 public:
  enum class Kind { kRead, kWrite };

  /// A write transaction waits for other writers up to the busy time-out (store/busy_timeout.h).
  Transaction(Connection& connection, Kind kind) : connection_(connection) {
    connection_.Execute(kind == Kind::kWrite ? "BEGIN IMMEDIATE" : "BEGIN");
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  ~Transaction() {
    if (open_) {
      // Fails when SQLite has already rolled back. Does not throw, as Execute might.
      connection_.database().tryExec("ROLLBACK");
    }
  }

  void Commit() {
    connection_.Execute("COMMIT");
    open_ = false;
  }

 private:
  Connection& connection_;
  bool open_ = true;
};

/// While this exists, commits of the connection don't wait for the disk. Create and destroy it
/// outside transactions.
class RelaxedDurability {
 public:
  explicit RelaxedDurability(Connection& connection) : connection_(connection) {
    connection_.database().exec("PRAGMA synchronous = NORMAL");
  }
  RelaxedDurability(const RelaxedDurability&) = delete;
  RelaxedDurability& operator=(const RelaxedDurability&) = delete;
  ~RelaxedDurability() { connection_.database().tryExec("PRAGMA synchronous = FULL"); }

 private:
  Connection& connection_;
};

}  // namespace quelt
