// The pool of this process's connections to the host's state. Any thread may use it.
//
// A forked child must not use SQLite connections of its parent: it inherits SQLite's table of file
// locks, but not the locks. So a fork waits until no connection is in use, and closes all of them;
// parent and child open new ones. A state in memory remains with the parent; the child gets a new
// one.
//
// Therefore a thread that holds a connection is quick, starts no other operation (Acquire throws)
// and does not fork (it would deadlock).
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

  /// Reads the environment at the first call.
  const StorePlace& place();

  /// Takes a connection for the calling thread. Only one thread at a time gets one for writing, so
  /// that a fork waits for at most one writer. Throws QueltCtlException, also after waiting for the
  /// busy time-out.
  std::unique_ptr<Connection> Acquire(Use use);
  /// Returns a connection to the pool. `connection` is null when Acquire failed to open one.
  void Release(std::unique_ptr<Connection> connection, Use use) noexcept;

  /// Whether the calling thread holds a connection or blocks forks.
  static bool InUseHere();

  /// Between these calls, forks of this process wait. See ForkBlocker.
  void BlockForks();
  void AllowForks() noexcept;

  // Handlers for pthread_atfork.
  void BeforeFork();
  void AfterForkInParent();
  void AfterForkInChild();

 private:
  /// As place(); the caller holds mutex_.
  const StorePlace& PlaceLocked();
  /// Waits until a connection may be used. Returns the deadline for further waiting; std::nullopt
  /// when it did not wait.
  std::optional<std::chrono::steady_clock::time_point> Wait(std::unique_lock<std::mutex>& lock,
                                                            Use use);
  std::unique_ptr<Connection> PopIdle();

  std::mutex mutex_;  // held by a forking thread during the fork
  std::condition_variable changed_;
  std::optional<StorePlace> place_;
  std::vector<std::unique_ptr<Connection>> idle_;
  std::size_t max_in_use_ = 0;
  std::size_t in_use_ = 0;
  std::size_t fork_blockers_ = 0;
  std::size_t waiting_ = 0;
  unsigned forks_ = 0;  // threads in fork()
  bool writing_ = false;
};

/// The pool of this process. Created when the library is loaded and never destroyed: daemon threads
/// may still use it at exit.
Pool& ConnectionPool();

/// While this exists, forks of this process wait. For calls into a library with locks of its own: a
/// child forked during such a call would inherit a locked lock that nobody unlocks. Be quick, and
/// acquire no connection meanwhile. Without effect when the thread holds a connection: forks
/// already wait for that.
class ForkBlocker {
 public:
  ForkBlocker() : blocks_(!Pool::InUseHere()) {
    if (blocks_) {
      ConnectionPool().BlockForks();
    }
  }
  ForkBlocker(const ForkBlocker&) = delete;
  ForkBlocker& operator=(const ForkBlocker&) = delete;
  ~ForkBlocker() {
    if (blocks_) {
      ConnectionPool().AllowForks();
    }
  }

 private:
  const bool blocks_;
};

}  // namespace quelt
