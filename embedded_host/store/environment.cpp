#include "embedded_host/store/environment.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
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
    // Probably an unset variable of a shell script: the user's own host is not meant.
    if (*path == '\0') {
      throw HostCtl::Lib::Quelt::QueltCtlException(
          "QUELT_HOST_STATE is empty: expected the path of the host's state, or no such variable");
    }
    return path;
  }
  // A relative base directory is to be ignored (XDG Base Directory Specification).
  std::string base = Environment("XDG_STATE_HOME");
  if (!base.starts_with('/')) {
    base = HomeDirectory() + "/.local/state";
  }
  return base + "/quelt/host.db";
}

/// A later change of the working directory must not lead to another file.
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
  const std::string seconds = Environment("QUELT_HOST_WAIT");
  const char* const end = seconds.data() + seconds.size();
  unsigned wait = 0;
  if (const auto read = std::from_chars(seconds.data(), end, wait);
      read.ec == std::errc() && read.ptr == end) {
    place.wait = std::chrono::seconds(wait);
  }
  return place;
}

}  // namespace quelt
