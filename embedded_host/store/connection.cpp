#include "embedded_host/store/connection.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "embedded_host/store/failure.h"
#include "platform/exception.h"

namespace quelt {

std::size_t Rows::Index(int column, std::size_t count) const {
  const auto value = static_cast<std::uint64_t>(Integer(column));
  if (value >= count) {
    throw HostCtl::Lib::Quelt::QueltCtlException("The host's state holds a number out of range");
  }
  return value;
}

void Rows::Copy(int column, std::span<std::uint8_t> to) const {
  const Bytes bytes = Blob(column);
  if (bytes.size() != to.size()) {
    throw HostCtl::Lib::Quelt::QueltCtlException("The host's state holds a value of wrong length");
  }
  std::copy(bytes.begin(), bytes.end(), to.begin());
}

namespace {

SQLite::Database Open(const StorePlace& place) {
  try {
    return SQLite::Database(place.path, SQLite::OPEN_READWRITE | SQLite::OPEN_NOMUTEX);
  } catch (const SQLite::Exception& failure) {
    // SQLiteCpp has closed the handle, which knew the system's error: determine it again.
    if (!place.in_memory() && access(place.path.c_str(), R_OK | W_OK) != 0) {
      ThrowSystemFailure(place.path, errno);
    }
    ThrowStoreFailure(place.path, failure.what());
  }
}

}  // namespace

Connection::Connection(const StorePlace& place)
    : place_(place), busy_handler_(place.busyTimeout), database_(Open(place)) {
  sqlite3* const handle = database_.getHandle();
  sqlite3_extended_result_codes(handle, 1);
  WaitForOtherWriters(true);
  // Keep the log when the last connection closes: connections are closed before every fork, which
  // must be quick, and a file that turns out not to be a state file must not be changed.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  // A state file may be untrusted: its schema must not call unsafe functions, and no statement may
  // open another file.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
  sqlite3_limit(handle, SQLITE_LIMIT_ATTACHED, 0);
}

bool Connection::InTransaction() const {
  return sqlite3_get_autocommit(database_.getHandle()) == 0;
}

void Connection::WaitForOtherWriters(bool wait) {
  busy_handler_.Enable(database_.getHandle(), wait);
}

void Connection::Configure() {
  database_.exec(
      "PRAGMA synchronous = FULL;"
      "PRAGMA secure_delete = ON;"
      "PRAGMA foreign_keys = ON;"
      // Rows to sort may hold keys: don't write them to a temporary file.
      "PRAGMA temp_store = MEMORY;");
}

SQLite::Statement& Connection::Prepared(const char* sql) {
  std::unique_ptr<SQLite::Statement>& statement = statements_[sql];
  if (statement == nullptr) {
    statement = std::make_unique<SQLite::Statement>(database_, sql);
  }
  return *statement;
}

}  // namespace quelt
