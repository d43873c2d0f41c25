#include "embedded_host/store/connection.h"

namespace quelt {

namespace {

/// How long a writer waits for another one, in milliseconds.
constexpr int kBusyTimeout = 30'000;

}  // namespace

Connection::Connection(const std::string& path)
    : database_(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX,
                kBusyTimeout) {
  database_.exec("PRAGMA journal_mode = WAL");
  database_.exec("PRAGMA synchronous = FULL");
  database_.exec("PRAGMA secure_delete = ON");
  database_.exec("PRAGMA foreign_keys = ON");
}

SQLite::Statement& Connection::Prepared(const char* sql) {
  std::unique_ptr<SQLite::Statement>& statement = statements_[sql];
  if (statement == nullptr) {
    statement = std::make_unique<SQLite::Statement>(database_, sql);
  }
  return *statement;
}

}  // namespace quelt
