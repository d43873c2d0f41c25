#include "embedded_host/store/state_file.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>

#include "embedded_host/store/access.h"
#include "embedded_host/store/control_word.h"
#include "embedded_host/store/creation.h"
#include "embedded_host/store/failure.h"
#include "embedded_host/store/schema.h"

namespace quelt {

namespace {

constexpr std::string_view kMagic{"SQLite format 3\0", 16};
constexpr std::size_t kApplicationIdAt = 68;  // big-endian; SQLite's file format, section 1.3
constexpr std::size_t kHeaderSize = 100;

/// SQLite's limit is below the system's, and the files beside the state have longer paths.
void RejectLongPath(const std::string& path) {
  constexpr std::size_t kLongestSuffix = sizeof("-XXXXXX-journal") - 1;
  const auto longest = static_cast<std::size_t>(sqlite3_vfs_find(nullptr)->mxPathname);
  if (path.size() + kLongestSuffix > longest) {
    ThrowStoreFailure(path, "a path of " + std::to_string(path.size()) + " bytes, the longest is " +
                                std::to_string(longest - kLongestSuffix));
  }
}

/// Reads the header through the connection's own file handle: reading it with SQL would take locks
/// and process the log, and closing a second handle would release SQLite's locks.
void RejectForeignFile(Connection& connection) {
  sqlite3_file* file = nullptr;
  sqlite3_file_control(connection.database().getHandle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
  std::array<unsigned char, kHeaderSize> header{};
  const int status = file->pMethods->xRead(file, header.data(), kHeaderSize, 0);
  const std::string& path = connection.place().path;
  if (status != SQLITE_OK && status != SQLITE_IOERR_SHORT_READ) {
    ThrowStoreFailure(path, sqlite3_errstr(status));
  }
  std::uint32_t id = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    id = id << 8 | header[kApplicationIdAt + i];
  }
  if (!std::equal(kMagic.begin(), kMagic.end(), header.begin(),
                  [](char expected, unsigned char c) {
                    return static_cast<unsigned char>(expected) == c;
                  }) ||
      id != kApplicationId) {
    ThrowStoreFailure(path, "not a database of a Quelt host; move it away to create a state there");
  }
}

/// When SQLite can't open a file for writing, even for a temporary reason (too many open files), it
/// opens it read-only for the life of the connection. For the log, BEGIN IMMEDIATE detects that: it
/// fails with SQLITE_READONLY, not with success or SQLITE_BUSY.
void RejectReadOnlyFile(Connection& connection) {
  sqlite3* const handle = connection.database().getHandle();
  const std::string& path = connection.place().path;
  if (sqlite3_db_readonly(handle, "main") != 0) {
    access(path.c_str(), W_OK) != 0 ? ThrowSystemFailure(path, errno)
                                    : ThrowStoreFailure(path, "cannot be opened for writing");
  }
  connection.WaitForOtherWriters(false);
  const int status = sqlite3_exec(handle, "BEGIN IMMEDIATE; ROLLBACK", nullptr, nullptr, nullptr);
  connection.WaitForOtherWriters(true);
  if ((status & 0xff) == SQLITE_READONLY) {
    ThrowStoreFailure(path, "its log cannot be opened for writing");
  }
}

/// The time since an arbitrary start, accurate to a few milliseconds: much cheaper than a precise
/// clock, as it is read for every operation.
std::chrono::nanoseconds CoarseNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

std::unique_ptr<Connection> OpenInMemory(const StorePlace& place) {
  auto connection = std::make_unique<Connection>(place);
  connection->Configure();
  FillNewState(*connection);
  return connection;
}

}  // namespace

std::unique_ptr<Connection> OpenState(const StorePlace& place) {
  if (place.in_memory()) {
    return OpenInMemory(place);
  }
  const bool exists = SecureState(place.path);
  RejectLongPath(place.path);
  if (!exists) {
    CreateState(place);
  }
  auto connection = std::make_unique<Connection>(place);
  RejectForeignFile(*connection);
  try {
    connection->Configure();
    UpgradeSchema(*connection);
    RejectReadOnlyFile(*connection);
  } catch (const SQLite::Exception& failure) {
    ThrowDatabaseFailure(place, *connection, failure);
  }
  return connection;
}

bool IsSameFile(Connection& connection, bool writing) {
  const std::chrono::nanoseconds now = CoarseNow();
  if (!writing && now < connection.nextFileCheck) {
    return true;
  }
  connection.nextFileCheck = now + kFileCheckInterval;
  ControlWord::DropIfReplaced(connection.place());
  int moved = 0;
  sqlite3_file_control(connection.database().getHandle(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return moved == 0;
}

void EmptyLog(Connection& connection) {
  if (!connection.place().in_memory()) {
    connection.Query("PRAGMA wal_checkpoint(TRUNCATE)").Next();
  }
}

}  // namespace quelt
