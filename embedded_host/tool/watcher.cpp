#include "embedded_host/tool/watcher.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace quelt {

namespace {

/// Reads the parent's id from a file /proc/ID/stat, whose second field may contain spaces. Returns
/// 0 if the process has ended.
pid_t ReadParent(const std::filesystem::path& stat) {
  std::ifstream file(stat);
  std::string text;
  std::getline(file, text, '\0');
  std::istringstream fields(text.substr(text.rfind(')') + 1));
  char state = 0;
  pid_t parent = 0;
  fields >> state >> parent;
  return parent;
}

std::vector<pid_t> Children() {
  std::vector<pid_t> children;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    const std::string name = entry.path().filename().string();
    if (name.find_first_not_of("0123456789") == std::string::npos &&
        ReadParent(entry.path() / "stat") == getpid()) {
      children.push_back(std::stoi(name));
    }
  }
  return children;
}

/// Starts the command. On failure returns 0 and stores the errno value in `error`.
pid_t Start(const WatchedCommand& command, int& error) {
  int failure[2];  // carries the errno value; a successful exec closes it
  if (pipe2(failure, O_CLOEXEC) != 0) {
    error = errno;
    return 0;
  }
  const pid_t watcher = getpid();
  const pid_t process = fork();
  if (process == 0) {
    // If the watcher is killed, at least this process must end too.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != watcher) {
      _exit(1);
    }
    command.prepare();
    execvp(command.words[0], command.words);
    const int reason = errno;
    static_cast<void>(write(failure[1], &reason, sizeof reason));
    _exit(1);
  }
  error = process < 0 ? errno : 0;
  close(failure[1]);
  static_cast<void>(read(failure[0], &error, sizeof error));
  close(failure[0]);
  return error == 0 ? process : 0;
}

/// Closes the watcher's copies of the command's pipes, so that readers see the end of the output.
void ReleaseStandardStreams() {
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int descriptor = 0; null >= 0 && descriptor <= STDERR_FILENO; ++descriptor) {
    dup2(null, descriptor);
  }
}

class Watcher {
 public:
  explicit Watcher(const WatchedCommand& command) : parent_(command.parent), owner_(command.owner) {
    sigset_t ended{};
    sigemptyset(&ended);
    sigaddset(&ended, SIGCHLD);
    children_ = signalfd(-1, &ended, SFD_CLOEXEC | SFD_NONBLOCK);
    if (children_ < 0) {
      outcome_.error = errno;
    } else {
      process_ = Start(command, outcome_.error);
    }
    if (outcome_.error != 0) {
      Report();
      Terminate();
    }
    if (owner_ >= 0) {
      ReleaseStandardStreams();
    }
  }

  [[noreturn]] void Run() {
    for (;;) {
      pollfd sources[] = {{children_, POLLIN, 0}, {parent_, POLLIN, 0}, {owner_, POLLIN, 0}};
      poll(sources, std::size(sources), -1);
      if (sources[0].revents != 0) {
        Reap();
      }
      if (sources[1].revents != 0) {
        HandleParent();
      }
      if (sources[2].revents != 0) {
        KillDescendants();
        outcome_.status = SIGKILL;
        Report();
        _exit(1);
      }
    }
  }

 private:
  void Report() const { send(parent_, &outcome_, sizeof outcome_, MSG_NOSIGNAL | MSG_DONTWAIT); }

  [[noreturn]] static void Terminate() {
    KillDescendants();
    _exit(1);
  }

  void Reap() {
    signalfd_siginfo ignored{};
    while (read(children_, &ignored, sizeof ignored) > 0) {
    }
    bool ended = false;
    int status = 0;
    pid_t process = 0;
    while ((process = waitpid(-1, &status, WNOHANG)) > 0) {
      if (process == process_) {
        ended = true;
        process_ = 0;
        outcome_.status = status;
      }
    }
    const bool idle = process < 0 || (process_ == 0 && owner_ < 0);
    if (idle && owner_ >= 0) {
      close(owner_);  // before reporting: the owner then sees that no process is left
    }
    if (ended) {
      outcome_.watching = !idle;
      Report();
    }
    if (idle) {
      _exit(0);
    }
  }

  void HandleParent() {
    unsigned char signal = 0;
    if (read(parent_, &signal, sizeof signal) == sizeof signal) {
      if (process_ > 0) {
        kill(process_, signal);
      }
    } else if (process_ > 0) {
      Terminate();
    } else {
      parent_ = -1;
    }
  }

  int parent_;
  const int owner_;
  int children_ = -1;
  pid_t process_ = 0;  // 0: it has ended
  CommandOutcome outcome_;
};

}  // namespace

void Watch(const WatchedCommand& command) {
  // Signals must not end or stop the watcher; the name protects it from `killall -9 quelt-host`.
  sigset_t all{};
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, nullptr);
  prctl(PR_SET_NAME, "quelt-watcher");
  AdoptOrphans();
  Watcher(command).Run();
}

void AdoptOrphans() { prctl(PR_SET_CHILD_SUBREAPER, 1); }

void KillDescendants() {
  for (;;) {
    // Children of a killed process become children of this one and are found in the next round.
    // Only this process reaps them, so their ids cannot be reused meanwhile.
    bool killed = false;
    for (const pid_t child : Children()) {
      killed = kill(child, SIGKILL) == 0 || killed;
    }
    pid_t reaped = 0;
    while ((reaped = waitpid(-1, nullptr, WNOHANG)) > 0) {
    }
    if (reaped < 0 || !killed) {
      return;
    }
    constexpr useconds_t kMicroseconds = 2000;
    usleep(kMicroseconds);
  }
}

}  // namespace quelt
