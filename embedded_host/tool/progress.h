// Shows the progress of work that takes longer than a second.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace quelt {

/// After one second, shows the task and its duration on standard error if that is a terminal. The
/// destructor removes the line. Uses a thread: destroy the object before a fork.
class Progress {
 public:
  explicit Progress(std::string task);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  /// Starts the next task of the same work.
  void Begin(std::string task);
  /// Prints a line on standard error, even if that is not a terminal.
  void PrintLine(const std::string& line);
  /// Sets the number of rows that the task has stored so far. Acquires no lock.
  void SetRows(std::int64_t rows) { rows_.store(rows, std::memory_order_relaxed); }

 private:
  void Show();
  void Clear();

  std::mutex mutex_;  // guards the next four
  std::condition_variable changed_;
  std::string task_;
  bool shown_ = false;
  bool done_ = false;
  std::atomic<std::int64_t> rows_{0};
  std::thread thread_;  // last: it uses the others
};

}  // namespace quelt
