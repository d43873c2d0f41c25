#include "embedded_host/store/state_path.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/exception.h"

namespace quelt {

namespace {

/// The variable's value; empty when it is unset.
std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

std::string HomeDirectory() {
  std::string home = Environment("HOME");
  if (home.empty()) {
    const passwd* const entry = getpwuid(getuid());
    if (entry == nullptr) {
      throw HostCtl::Lib::Quelt::QueltCtlException(
          "No place for the host's state: set QUELT_HOST_STATE or HOME");
    }
    home = entry->pw_dir;
  }
  return home;
}

}  // namespace

std::string StatePath() {
  if (std::string path = Environment("QUELT_HOST_STATE"); !path.empty()) {
    return path;
  }
  std::string base = Environment("XDG_STATE_HOME");
  if (base.empty()) {
    base = HomeDirectory() + "/.local/state";
  }
  return base + "/quelt/host.db";
}

}  // namespace quelt
