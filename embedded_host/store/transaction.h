// A transaction that is rolled back unless it was committed.
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
      try {
        connection_.Execute("ROLLBACK");
      } catch (const SQLite::Exception&) {
        // SQLite has already rolled back by itself.
      }
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

}  // namespace quelt
