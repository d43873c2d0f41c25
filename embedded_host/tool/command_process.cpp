#include "embedded_host/tool/command_process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "embedded_host/store/failure.h"

namespace quelt {

namespace {

constexpr int kEnding[] = {SIGTERM, SIGHUP, SIGINT, SIGQUIT};

bool IsIgnored(int signal) {
  struct sigaction action = {};
  sigaction(signal, nullptr, &action);
  return action.sa_handler == SIG_IGN;
}

}  // namespace

CommandProcess::CommandProcess() {
  // Ended children of a process that ignores SIGCHLD leave no exit status.
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  sigaction(SIGCHLD, &action, &child_);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, &pipe_);

  sigemptyset(&waiting_);
  sigaddset(&waiting_, SIGCHLD);
  for (const int signal : kEnding) {
    if (!IsIgnored(signal)) {
      sigaddset(&waiting_, signal);
    }
  }
  sigprocmask(SIG_BLOCK, &waiting_, &mask_);
}

CommandProcess::~CommandProcess() { RestoreSignals(); }

void CommandProcess::RestoreSignals() const {
  sigaction(SIGCHLD, &child_, nullptr);
  sigaction(SIGPIPE, &pipe_, nullptr);
  sigprocmask(SIG_SETMASK, &mask_, nullptr);
}

int CommandProcess::Run(std::vector<std::string> command) const {
  std::vector<char*> words(command.size() + 1, nullptr);
  std::transform(command.begin(), command.end(), words.begin(),
                 [](std::string& word) { return word.data(); });
  sigset_t pending{};
  sigpending(&pending);
  for (const int signal : kEnding) {
    if (sigismember(&waiting_, signal) == 1 && sigismember(&pending, signal) == 1) {
      throw std::runtime_error("A signal came before the command began");  // and strikes now
    }
  }
  return WaitFor(Start(words.data()));
}

// posix_spawn can set signals to their default, but cannot have them ignored as they were.
pid_t CommandProcess::Start(char* const* command) const {
  int failure[2];  // carries the error of a command that cannot be run; is closed by one that can
  if (pipe2(failure, O_CLOEXEC) != 0) {
    ThrowSystemFailure(command[0], errno);
  }
  const pid_t process = fork();
  if (process == 0) {
    RestoreSignals();
    execvp(command[0], command);
    const int error = errno;
    static_cast<void>(write(failure[1], &error, sizeof error));
    _exit(127);
  }
  int error = process < 0 ? errno : 0;
  close(failure[1]);
  while (read(failure[0], &error, sizeof error) < 0 && errno == EINTR) {
  }
  close(failure[0]);
  if (error != 0) {
    if (process > 0) {
      waitpid(process, nullptr, 0);
    }
    ThrowSystemFailure(command[0], error);
  }
  return process;
}

int CommandProcess::WaitFor(pid_t process) const {
  int status = 0;
  pid_t ended = 0;
  while ((ended = waitpid(process, &status, WNOHANG)) == 0) {
    const int signal = sigwaitinfo(&waiting_, nullptr);
    if (signal == SIGTERM || signal == SIGHUP) {
      kill(process, signal);
    }
  }
  if (ended < 0) {
    ThrowSystemFailure("The command's exit status", errno);
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace quelt
