// The process between quelt-host and a command that it runs. It terminates the command, with
// everything that the command started, when the process that wanted the command is gone.
#pragma once

#include <sys/types.h>

#include <functional>

namespace quelt {

/// How a command ended, as the watcher reports it to its parent.
struct CommandOutcome {
  int error = 0;          ///< the errno value if the command could not be started
  int status = 0;         ///< otherwise its status, as waitpid returns it
  bool watching = false;  ///< the command left processes behind, which are still being watched
};

struct WatchedCommand {
  char* const* words = nullptr;   ///< for execvp
  std::function<void()> prepare;  ///< runs in the command's process before it starts
  /// A socket. The parent sends numbers of signals for the command, one byte each, and receives the
  /// outcome. If it closes the socket earlier, which its death does, the command is terminated.
  int parent = -1;
  /// Another socket or -1. While its other end is open, processes that the command left behind may
  /// continue, and the watcher waits for them. Once it is closed, they are terminated.
  int owner = -1;
};

/// Becomes the watcher. For a child process without other threads.
[[noreturn]] void Watch(const WatchedCommand& command);

/// Makes this process the parent of every descendant whose own parent has ended.
void AdoptOrphans();

/// Kills all descendants; those of other users are left. For a process that adopts orphans.
void KillDescendants();

}  // namespace quelt
