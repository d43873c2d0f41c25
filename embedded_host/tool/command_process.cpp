#include "embedded_host/tool/command_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "embedded_host/store/descriptor.h"
#include "embedded_host/store/failure.h"

namespace quelt {

namespace {

constexpr int kTerminationSignals[] = {SIGTERM, SIGHUP, SIGINT, SIGQUIT};

bool IsIgnored(int signal) {
  struct sigaction action = {};
  sigaction(signal, nullptr, &action);
  return action.sa_handler == SIG_IGN;
}

/// For poll: -1 without a deadline, 0 when it has passed.
int MillisecondsUntil(const std::optional<std::chrono::steady_clock::time_point>& deadline) {
  if (!deadline) {
    return -1;
  }
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
}

}  // namespace

CommandProcess::CommandProcess() {
  // While SIGCHLD is ignored, the kernel discards the exit status of children.
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  sigaction(SIGCHLD, &action, &child_);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, &pipe_);

  sigemptyset(&waiting_);
  sigaddset(&waiting_, SIGCHLD);
  for (const int signal : kTerminationSignals) {
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

CommandOutcome CommandProcess::Run(std::vector<std::string> command,
                                   const CommandOptions& options) const {
  std::vector<char*> words(command.size() + 1, nullptr);
  std::transform(command.begin(), command.end(), words.begin(),
                 [](std::string& word) { return word.data(); });
  sigset_t pending{};
  sigpending(&pending);
  for (const int signal : kTerminationSignals) {
    if (sigismember(&waiting_, signal) == 1 && sigismember(&pending, signal) == 1) {
      throw std::runtime_error("A signal arrived before the command started");
    }
  }
  int sockets[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) {
    ThrowSystemFailure(command[0], errno);
  }
  Descriptor ours(sockets[0]);
  Descriptor watchers(sockets[1]);
  AdoptOrphans();  // in case the watcher is killed
  const pid_t watcher = fork();
  if (watcher == 0) {
    close(ours.get());
    const auto prepare = [&] {
      RestoreSignals();
      if (options.prepare) {
        options.prepare();
      }
    };
    Watch({words.data(), prepare, watchers.get(), options.owner});
  }
  if (watcher < 0) {
    ThrowSystemFailure(command[0], errno);
  }
  watchers.Close();
  const CommandOutcome outcome = WaitFor(ours.get(), options);
  if (outcome.timedOut) {
    ours.Close();  // the watcher then kills the command
  }
  if (!outcome.watching) {
    waitpid(watcher, nullptr, 0);
  }
  return outcome;
}

CommandOutcome CommandProcess::WaitFor(int socket, const CommandOptions& options) const {
  const int signals = signalfd(-1, &waiting_, SFD_CLOEXEC | SFD_NONBLOCK);
  if (signals < 0) {
    throw std::system_error(errno, std::generic_category(), "Waiting for the command");
  }
  const Descriptor signals_owner(signals);
  for (;;) {
    pollfd sources[] = {{socket, POLLIN, 0}, {signals, POLLIN, 0}, {options.output, POLLIN, 0}};
    poll(sources, std::size(sources), MillisecondsUntil(options.deadline));
    if (sources[2].revents != 0) {
      options.takeOutput();
    }
    // Forward signals before reading the outcome: they were sent to the running command.
    signalfd_siginfo signal{};
    while (read(signals, &signal, sizeof signal) == sizeof signal) {
      if (signal.ssi_signo == SIGTERM || signal.ssi_signo == SIGHUP) {
        const auto number = static_cast<unsigned char>(signal.ssi_signo);
        send(socket, &number, sizeof number, MSG_NOSIGNAL);
      }
    }
    if (CommandOutcome outcome; sources[0].revents != 0) {
      if (recv(socket, &outcome, sizeof outcome, MSG_DONTWAIT) != sizeof outcome) {
        KillDescendants();
        throw std::runtime_error("The process that watches the command was killed");
      }
      return outcome;
    }
    if (options.deadline && std::chrono::steady_clock::now() >= *options.deadline) {
      CommandOutcome outcome;
      outcome.timedOut = true;
      return outcome;
    }
  }
}

std::string StartFailureText(const std::string& command, int error) {
  const bool is_path = command.find('/') != std::string::npos;
  if (error == ENOENT && is_path && access(command.c_str(), F_OK) == 0) {
    return command + ": the interpreter that it names doesn't exist";
  }
  const std::string reason =
      error == ENOENT && !is_path ? "command not found" : std::generic_category().message(error);
  return (command.empty() ? "\"\"" : command) + ": " + reason;
}

void Supervise(int owner, std::vector<std::string> command) {
  fcntl(owner, F_SETFD, FD_CLOEXEC);
  CommandOutcome outcome;
  {
    const CommandProcess process;
    CommandOptions options;
    options.owner = owner;
    outcome = process.Run(std::move(command), options);
    if (outcome.error != 0) {
      send(owner, &outcome.error, sizeof outcome.error, MSG_NOSIGNAL);
    }
  }
  if (WIFSIGNALED(outcome.status)) {
    const rlimit none{};
    setrlimit(RLIMIT_CORE, &none);  // the command's process has already written one
    sigset_t all{};
    sigemptyset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    (void)signal(WTERMSIG(outcome.status), SIG_DFL);
    (void)raise(WTERMSIG(outcome.status));
  }
  _exit(WEXITSTATUS(outcome.status));
}

}  // namespace quelt
