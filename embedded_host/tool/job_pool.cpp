#include "embedded_host/tool/job_pool.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>

#include <cerrno>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "embedded_host/tool/watcher.h"

namespace quelt {

namespace {

// The first byte of what a child sends.
constexpr char kResult = 'r';
constexpr char kError = 'e';

void WriteAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written <= 0 && errno != EINTR) {
      return;  // the parent has ended
    }
    text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
  }
}

[[noreturn]] void RunInChild(const JobPool::Work& work, int result) {
  std::string text;
  try {
    text = kResult + work();
  } catch (const std::exception& failure) {
    text = kError + std::string(failure.what());
  }
  WriteAll(result, text);
  _exit(0);
}

}  // namespace

JobPool::JobPool(std::size_t parallel) : parallel_(parallel) {
  sigset_t handled{};
  sigemptyset(&handled);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) {
      sigaddset(&handled, signal);
    }
  }
  sigprocmask(SIG_BLOCK, &handled, &mask_);
  signals_ = Descriptor(signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK));
  AdoptOrphans();  // to kill everything that the jobs started
}

JobPool::~JobPool() { sigprocmask(SIG_SETMASK, &mask_, nullptr); }

void JobPool::Add(Work work, Done done) {
  waiting_.push_back({std::move(work), std::move(done), Descriptor(), {}});
}

void JobPool::Start(Job job) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "Starting a process");
  }
  job.result = Descriptor(ends[0]);
  const Descriptor write_end(ends[1]);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "Starting a process");
  }
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
      _exit(1);
    }
    setsid();  // signals of the terminal are for the parent only
    sigprocmask(SIG_SETMASK, &mask_, nullptr);
    RunInChild(job.work, write_end.get());
  }
  fcntl(job.result.get(), F_SETFL, O_NONBLOCK);
  running_.emplace(child, std::move(job));
}

void JobPool::Finish(std::map<pid_t, Job>::iterator job) {
  waitpid(job->first, nullptr, 0);
  const Job done = std::move(job->second);
  running_.erase(job);
  if (done.received.empty()) {
    throw std::runtime_error("A process was killed");
  }
  if (done.received.front() == kError) {
    throw std::runtime_error(done.received.substr(1));
  }
  done.done(done.received.substr(1));
}

int JobPool::Wait() {
  std::vector<pollfd> sources = {{signals_.get(), POLLIN, 0}};
  for (const auto& [child, job] : running_) {
    sources.push_back({job.result.get(), POLLIN, 0});
  }
  poll(sources.data(), sources.size(), -1);
  signalfd_siginfo signal{};
  if (read(signals_.get(), &signal, sizeof signal) == sizeof signal) {
    return static_cast<int>(signal.ssi_signo);
  }
  std::vector<std::map<pid_t, Job>::iterator> ended;
  for (auto job = running_.begin(); job != running_.end(); ++job) {
    char part[65536];
    ssize_t size = 0;
    while ((size = read(job->second.result.get(), part, sizeof part)) > 0) {
      job->second.received.append(part, static_cast<std::size_t>(size));
    }
    if (size == 0) {
      ended.push_back(job);
    }
  }
  for (const auto job : ended) {
    Finish(job);
  }
  return 0;
}

int JobPool::RunAll() {
  try {
    const int signal = RunUntilSignal();
    if (signal != 0) {
      KillAll();
    }
    return signal;
  } catch (...) {
    KillAll();
    throw;
  }
}

int JobPool::RunUntilSignal() {
  while (!waiting_.empty() || !running_.empty()) {
    while (!waiting_.empty() && running_.size() < parallel_) {
      Job next = std::move(waiting_.front());
      waiting_.pop_front();
      Start(std::move(next));
    }
    if (const int signal = Wait(); signal != 0) {
      return signal;
    }
  }
  return 0;
}

void JobPool::KillAll() {
  KillDescendants();
  running_.clear();
  waiting_.clear();
}

}  // namespace quelt
