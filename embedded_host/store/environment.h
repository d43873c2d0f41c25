// The store's settings in the process's environment. Reading the environment races with threads
// that change it: read the settings once and keep them for the life of the process.
#pragma once

#include <chrono>
#include <string>

#include "embedded_host/store/busy_timeout.h"

namespace quelt {

/// The path of a state in memory, private to the process.
inline constexpr char kInMemory[] = ":memory:";

/// Where the host's state is, and how long an operation waits for another writer.
struct StorePlace {
  /// An absolute path, or kInMemory.
  std::string path;
  std::chrono::seconds busyTimeout = kDefaultBusyTimeout;

  bool in_memory() const { return path == kInMemory; }
};

/// The path is QUELT_HOST_STATE, else $XDG_STATE_HOME/quelt/host.db, else
/// ~/.local/state/quelt/host.db; without HOME, the home directory is that of the password database.
/// Throws QueltCtlException when QUELT_HOST_STATE is empty or when there is no home directory.
StorePlace ReadStorePlace();

}  // namespace quelt
