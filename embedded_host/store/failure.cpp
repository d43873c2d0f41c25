#include "embedded_host/store/failure.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "embedded_host/store/connection.h"
#include "embedded_host/store/environment.h"

namespace quelt {

namespace {

std::string SystemText(int error) { return std::generic_category().message(error); }

/// SQLite needs a writable folder for the files beside the database. Its own error does not mention
/// the folder.
void RequireWritableFolder(const StorePlace& place) {
  const std::string folder = std::filesystem::path(place.path).parent_path();
  if (!place.in_memory() && access(folder.c_str(), W_OK) != 0) {
    ThrowStoreFailure(place.path, "its folder cannot be written (" + SystemText(errno) + ")");
  }
}

}  // namespace

void ThrowStoreFailure(const std::string& file, std::string_view reason) {
  throw HostCtl::Lib::Quelt::QueltCtlException(file + ": " + std::string(reason));
}

DamagedState::DamagedState(const std::string& file, std::string_view reason)
    : QueltCtlException(file + ": " + std::string(reason) +
                        "; to replace it with a new state: quelt-host reset --state " + file) {}

void ThrowSystemFailure(const std::string& file, int error) {
  ThrowStoreFailure(file, SystemText(error));
}

void ThrowDatabaseFailure(const StorePlace& place, Connection& connection,
                          const SQLite::Exception& failure) {
  const int code = failure.getErrorCode() & 0xff;  // the primary code of an extended one
  if (code == SQLITE_BUSY) {
    ThrowTimeout(place, kOtherWriter);
  }
  if (code == SQLITE_CORRUPT || code == SQLITE_NOTADB) {
    throw DamagedState(place.path, failure.what());
  }
  if (code == SQLITE_CANTOPEN || code == SQLITE_READONLY) {
    RequireWritableFolder(place);
  }
  std::string reason = failure.what();
  const int error = sqlite3_system_errno(connection.database().getHandle());
  if ((code == SQLITE_IOERR || code == SQLITE_CANTOPEN) && error != 0) {
    reason += " (" + SystemText(error) + ")";
  }
  ThrowStoreFailure(place.path, reason);
}

void ThrowTimeout(const StorePlace& place, std::string_view resource) {
  ThrowStoreFailure(place.path, "waited " + std::to_string(place.busyTimeout.count()) + " s for " +
                                    std::string(resource));
}

}  // namespace quelt
