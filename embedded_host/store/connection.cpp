#include "embedded_host/store/connection.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "embedded_host/store/failure.h"
#include "platform/exception.h"

namespace quelt {

using std::chrono::steady_clock;

std::size_t Rows::Index(int column, std::size_t choices) const {
  const auto value = static_cast<std::uint64_t>(Integer(column));
  if (value >= choices) {
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
    // The handle is gone already. What the system said is asked again.
    if (!place.in_memory() && access(place.path.c_str(), R_OK | W_OK) != 0) {
      ThrowSystemFailure(place.path, errno);
    }
    ThrowStoreFailure(place.path, failure.what());
  }
}

}  // namespace

Connection::Connection(const StorePlace& place) : place_(place), database_(Open(place)) {
  sqlite3* const handle = database_.getHandle();
  sqlite3_extended_result_codes(handle, 1);
  EnableBusyHandler(true);
  // The log stays when the last connection closes. Closing happens before every fork and must be
  // quick, and a file that turns out not to be ours must not be touched.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  // A state may come from a stranger: what its tables say runs with no more rights than plain SQL,
  // and no statement reaches another file.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
  sqlite3_limit(handle, SQLITE_LIMIT_ATTACHED, 0);
}

bool Connection::InTransaction() const {
  return sqlite3_get_autocommit(database_.getHandle()) == 0;
}

void Connection::EnableBusyHandler(bool wait) {
  sqlite3_busy_handler(database_.getHandle(), wait ? &Connection::WaitForWriter : nullptr, this);
}

/// Called by SQLite while another process writes: zero gives up. Polls more often than SQLite's own
/// handler, whose pauses of 100 ms let one busy process keep the others out.
int Connection::WaitForWriter(void* connection, int retries) {
  Connection& self = *static_cast<Connection*>(connection);
  const auto now = steady_clock::now();
  if (!self.wait_ends_) {
    self.wait_ends_ = now + self.place_.wait;
  }
  if (now >= *self.wait_ends_) {
    return 0;
  }
  std::this_thread::sleep_for(std::chrono::microseconds(retries < 20 ? 250 : 2500));
  return 1;
}

void Connection::Configure() {
  database_.exec(
      "PRAGMA synchronous = FULL;"
      "PRAGMA secure_delete = ON;"
      "PRAGMA foreign_keys = ON;"
      // Sorted rows may hold keys: they don't go to a temporary file.
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
