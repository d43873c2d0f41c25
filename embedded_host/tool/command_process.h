// A command that `quelt-host run` starts and waits for, and what signals do meanwhile.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <string>
#include <vector>

namespace quelt {

/// While this stands, signals do not end this process, so that it can clean up after the command:
/// SIGTERM and SIGHUP are the command's, those of the keyboard reach it by themselves, and writing
/// into a closed pipe is an error. What came after the command's end strikes when this goes.
/// For a process without other threads.
class CommandProcess {
 public:
  CommandProcess();
  CommandProcess(const CommandProcess&) = delete;
  CommandProcess& operator=(const CommandProcess&) = delete;
  ~CommandProcess();

  /// Runs a command to its end, with the signals as they were before; gives its exit status as a
  /// shell does. Throws std::runtime_error when it cannot be started.
  int Run(std::vector<std::string> command) const;

 private:
  void RestoreSignals() const;
  pid_t Start(char* const* command) const;
  int WaitFor(pid_t process) const;

  sigset_t waiting_{};  // what WaitFor looks at
  sigset_t mask_{};     // as it was, as the next two
  struct sigaction pipe_ = {};
  struct sigaction child_ = {};
};

}  // namespace quelt
