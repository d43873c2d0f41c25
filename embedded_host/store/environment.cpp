#include "embedded_host/store/environment.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

#include "embedded_host/store/failure.h"
#include "platform/exception.h"

namespace quelt {

namespace {

/// The variable's value; empty when it is unset.
std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

/// The home directory of the process's user in the password database; empty when it has none.
std::string HomeInPasswordDatabase() {
  std::vector<char> texts(1024);
  passwd entry{};
  passwd* found = nullptr;
  while (getpwuid_r(getuid(), &entry, texts.data(), texts.size(), &found) == ERANGE) {
    texts.resize(2 * texts.size());
  }
  return found == nullptr ? std::string() : std::string(found->pw_dir);
}

std::string HomeDirectory() {
  std::string home = Environment("HOME");
  if (home.empty()) {
    home = HomeInPasswordDatabase();
  }
  if (home.empty()) {
    throw HostCtl::Lib::Quelt::QueltCtlException(
        "No place for the host's state: set QUELT_HOST_STATE or HOME");
  }
  return home;
}

std::string StatePath() {
  if (const char* const path = std::getenv("QUELT_HOST_STATE"); path != nullptr) {
    // Probably an unset variable in a shell script: don't fall back to the user's own host.
    if (*path == '\0') {
      throw HostCtl::Lib::Quelt::QueltCtlException(
          "QUELT_HOST_STATE is empty: expected the path of the host's state, or no such variable");
    }
    return path;
  }
  // The XDG Base Directory Specification says to ignore a relative path.
  std::string base = Environment("XDG_STATE_HOME");
  if (!base.starts_with('/')) {
    base = HomeDirectory() + "/.local/state";
  }
  return base + "/quelt/host.db";
}

/// Makes the path absolute, so that a later change of the working directory has no effect.
std::string Absolute(const std::string& path) {
  std::error_code error;
  std::string absolute = std::filesystem::absolute(path, error).string();
  if (error) {
    ThrowSystemFailure(path, error.value());
  }
  return absolute;
}

}  // namespace

StorePlace ReadStorePlace() {
  StorePlace place;
  place.path = StatePath();
  if (!place.in_memory()) {
    place.path = Absolute(place.path);
    if (place.path.ends_with('/')) {
      ThrowStoreFailure(place.path, "a folder's path, not a file's");
    }
  }
  place.busyTimeout = ReadBusyTimeout();
  return place;
}

}  // namespace quelt
