#include "embedded_host/store/failure.h"

#include <sqlite3.h>

#include <system_error>

#include "embedded_host/store/connection.h"
#include "embedded_host/store/environment.h"
#include "platform/exception.h"

namespace quelt {

namespace {

std::string SystemText(int error) { return std::generic_category().message(error); }

}  // namespace

void ThrowStoreFailure(const std::string& file, std::string_view reason) {
  throw HostCtl::Lib::Quelt::QueltCtlException(file + ": " + std::string(reason));
}

void ThrowSystemFailure(const std::string& file, int error) {
  ThrowStoreFailure(file, SystemText(error));
}

void ThrowDatabaseFailure(const StorePlace& place, Connection& connection,
                          const SQLite::Exception& failure) {
  const int code = failure.getErrorCode() & 0xff;  // without SQLite's finer distinctions
  if (code == SQLITE_BUSY) {
    ThrowWaitedTooLong(place, kForWriter);
  }
  std::string reason = failure.what();
  const int error = sqlite3_system_errno(connection.database().getHandle());
  if ((code == SQLITE_IOERR || code == SQLITE_CANTOPEN) && error != 0) {
    reason += " (" + SystemText(error) + ")";
  }
  ThrowStoreFailure(place.path, reason);
}

void ThrowWaitedTooLong(const StorePlace& place, std::string_view what) {
  ThrowStoreFailure(place.path,
                    "waited " + std::to_string(place.wait.count()) + " s for " + std::string(what));
}

}  // namespace quelt
