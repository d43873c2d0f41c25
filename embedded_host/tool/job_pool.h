// Runs jobs in child processes, several at a time, until all are done or a signal arrives.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <deque>
#include <functional>
#include <map>
#include <string>

#include "embedded_host/store/descriptor.h"

namespace quelt {

/// Only for a process without other threads. From the constructor to the destructor, SIGINT,
/// SIGTERM, SIGHUP and SIGQUIT are blocked, unless they are ignored: RunAll handles them.
class JobPool {
 public:
  /// Runs in a child process, which is the leader of a session of its own, with the original signal
  /// mask; returns the result.
  using Work = std::function<std::string()>;
  /// Runs in this process. May add jobs.
  using Done = std::function<void(const std::string& result)>;

  explicit JobPool(std::size_t parallel);
  JobPool(const JobPool&) = delete;
  JobPool& operator=(const JobPool&) = delete;
  ~JobPool();

  void Add(Work work, Done done);

  /// Runs the jobs in the order in which they were added. Returns 0, or the number of the signal
  /// that arrived. Throws std::runtime_error with the text of an exception of `work`. In these two
  /// cases, all jobs that are not done are dropped, and their processes and all that those started
  /// have been killed.
  int RunAll();

 private:
  struct Job {
    Work work;
    Done done;
    Descriptor result;
    std::string received;
  };

  void Start(Job job);
  int RunUntilSignal();
  void KillAll();
  void Finish(std::map<pid_t, Job>::iterator job);
  /// Waits until a job has sent a part of its result, or for a signal, which it returns.
  int Wait();

  const std::size_t parallel_;
  std::deque<Job> waiting_;
  std::map<pid_t, Job> running_;
  sigset_t mask_{};  // the original one
  Descriptor signals_;
};

}  // namespace quelt
