// The process between quelt-host and a command. It kills the command and all processes that it
// started when the process that requested the command ends.
#pragma once

#include <sys/types.h>

#include <functional>

namespace quelt {

/// How a command ended, as the watcher reports it to its parent.
struct CommandOutcome {
  int error = 0;          ///< the errno value if the command could not be started
  int status = 0;         ///< otherwise its status, as waitpid returns it
  bool watching = false;  ///< processes outlive the command and are still watched
  bool timedOut = false;  ///< the command was killed at its deadline; not set by the watcher
};

struct WatchedCommand {
  char* const* words = nullptr;   ///< for execvp
  std::function<void()> prepare;  ///< runs in the command's process before it starts
  /// A socket. The parent sends the numbers of signals for the command, one byte each, and receives
  /// the outcome. If the parent closes it earlier, or ends, the command is killed.
  int parent = -1;
  /// Another socket or -1. While its other end is open, processes that outlive the command continue
  /// and the watcher waits for them. When it is closed, they are killed.
  int owner = -1;
};

/// Runs the watcher in this process, which must be a child without other threads.
[[noreturn]] void Watch(const WatchedCommand& command);

/// Makes this process the parent of every descendant whose own parent has ended.
void AdoptOrphans();

/// Kills all descendants except those of other users. Requires AdoptOrphans.
void KillDescendants();

}  // namespace quelt
