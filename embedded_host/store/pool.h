// The connections of this process to the host's state, and what becomes of them in a fork.
//
// SQLite keeps its file locks in a table of the process, which a forked child inherits wrongly.
// So before a fork all connections in use are waited for, all are closed, and nobody gets one until
// the fork has happened; parent and child then open anew. A host in memory stays in the parent; the
// child starts with a fresh one.
//
// Three rules follow for whoever holds a connection: be quick, start no other operation (it is
// refused), and do not fork (it would wait for itself).
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "embedded_host/store/connection.h"
#include "embedded_host/store/environment.h"

namespace quelt {

class Pool {
 public:
  enum class Use { kRead, kWrite };

  Pool() = default;
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

  /// Read from the environment at the first call.
  const StorePlace& place();

  /// A connection for the calling thread. Writers of one process get theirs one after another, so
  /// that a fork never waits for more than one of them. Throws QueltCtlException, also when the
  /// wait took too long.
  std::unique_ptr<Connection> Acquire(Use use);
  /// `connection` may be null, or one that must not be used again.
  void Release(std::unique_ptr<Connection> connection, Use use) noexcept;

  /// True while the calling thread holds a connection, or holds forks off.
  static bool InUseHere();

  /// Until AllowForks, no thread of this process forks. See ForkBlocker.
  void BlockForks();
  void AllowForks() noexcept;

  // Called around each fork of the process.
  void BeforeFork();
  void AfterForkInParent();
  void AfterForkInChild();

 private:
  const StorePlace& PlaceLocked();
  /// Until when the operation may wait further; nothing when it has not waited.
  std::optional<std::chrono::steady_clock::time_point> Wait(std::unique_lock<std::mutex>& lock,
                                                            Use use);
  std::unique_ptr<Connection> PopIdle();

  std::mutex mutex_;  // held by the forking thread while it forks
  std::condition_variable changed_;
  std::optional<StorePlace> place_;
  std::vector<std::unique_ptr<Connection>> idle_;
  std::size_t most_in_use_ = 0;
  std::size_t in_use_ = 0;
  std::size_t fork_blockers_ = 0;
  std::size_t waiting_ = 0;
  unsigned forks_ = 0;  // threads that are about to fork
  bool writing_ = false;
};

/// The pool of this process. Made when the library is loaded and never destroyed: at exit, daemon
/// threads may still be inside.
Pool& ConnectionPool();

/// While one of these lives no thread of this process forks: for work with a library whose own
/// locks a child would find taken for good. Be quick, and take no connection meanwhile. Where the
/// thread holds one, forks wait already.
class ForkBlocker {
 public:
  ForkBlocker() : holds_(!Pool::InUseHere()) {
    if (holds_) {
      ConnectionPool().BlockForks();
    }
  }
  ForkBlocker(const ForkBlocker&) = delete;
  ForkBlocker& operator=(const ForkBlocker&) = delete;
  ~ForkBlocker() {
    if (holds_) {
      ConnectionPool().AllowForks();
    }
  }

 private:
  const bool holds_;
};

}  // namespace quelt
