// What the store takes from the process's environment. Reading it races with threads that change
// it: whoever asks keeps the answer for the life of the process.
#pragma once

#include <chrono>
#include <string>

namespace quelt {

/// The path that gives a host private to the process.
inline constexpr char kInMemory[] = ":memory:";

/// Where the host's state lives and how long a writer waits for another one.
struct StorePlace {
  /// An absolute path, or kInMemory.
  std::string path;
  std::chrono::seconds wait{30};

  bool in_memory() const { return path == kInMemory; }
};

/// The path is QUELT_HOST_STATE (an empty one is an error), else $XDG_STATE_HOME/quelt/host.db,
/// else
/// ~/.local/state/quelt/host.db, the home directory taken from the password database when HOME is
/// unset. The wait is QUELT_HOST_WAIT in whole seconds, else 30.
StorePlace ReadStorePlace();

}  // namespace quelt
