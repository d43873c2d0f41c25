// Runs a command and handles signals until it has ended.
#pragma once

#include <chrono>
#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "embedded_host/tool/watcher.h"

namespace quelt {

/// What Run does besides running a command.
struct CommandOptions {
  int owner = -1;                 ///< see WatchedCommand
  std::function<void()> prepare;  ///< runs in the command's process before it starts
  int output = -1;                ///< read while the command runs, for `takeOutput`; not blocking
  std::function<void()> takeOutput;
  /// At this time, the command and all processes that it started are killed.
  std::optional<std::chrono::steady_clock::time_point> deadline;
};

/// Why a command could not be started; `error`: from CommandOutcome.
std::string StartFailureText(const std::string& command, int error);

/// While an object of this class exists, signals don't end this process, so that it can clean up
/// after the command: SIGTERM and SIGHUP are forwarded to the command, the terminal sends SIGINT
/// and SIGQUIT to it directly, and writing to a closed pipe is an error. A signal that arrives
/// after the command has ended takes effect when the object is destroyed. Only for a process
/// without other threads.
class CommandProcess {
 public:
  CommandProcess();
  CommandProcess(const CommandProcess&) = delete;
  CommandProcess& operator=(const CommandProcess&) = delete;
  ~CommandProcess();

  /// Runs a command with the original signal handling and waits for it. If this process is killed
  /// meanwhile, the command and all processes that it started are killed.
  CommandOutcome Run(std::vector<std::string> command, const CommandOptions& options = {}) const;

 private:
  void RestoreSignals() const;
  CommandOutcome WaitFor(int socket, const CommandOptions& options) const;

  sigset_t waiting_{};  // the signals that WaitFor handles
  sigset_t mask_{};     // the caller's mask and, below, its actions
  struct sigaction pipe_ = {};
  struct sigaction child_ = {};
};

/// Runs a command for quelt_testing and exits with its status. `owner` is a socket: when its other
/// end is closed, the command is terminated with everything that it started; an errno value is
/// written to it if the command can't be started.
[[noreturn]] void Supervise(int owner, std::vector<std::string> command);

}  // namespace quelt
