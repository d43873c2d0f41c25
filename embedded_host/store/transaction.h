// A transaction that is rolled back unless it was committed, and how durable commits are.
#pragma once

#include "embedded_host/store/connection.h"

namespace quelt {

class Transaction {
 public:
  enum class Kind { kRead, kWrite };

  /// A write transaction waits for other writers, within the connection's limit.
  Transaction(Connection& connection, Kind kind) : connection_(connection) {
    connection_.Execute(kind == Kind::kWrite ? "BEGIN IMMEDIATE" : "BEGIN");
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  ~Transaction() {
    if (open_) {
      // Fails where SQLite has already rolled back by itself; allocates nothing of ours.
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

/// Commits of the connection don't wait for the disk while this stands. Outside transactions.
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
