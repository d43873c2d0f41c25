// Progress of work that takes longer than a second.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace quelt {

/// Shows on standard error, if that is a terminal, what the tool does and for how long, from the
/// first second on. Removes its line in the end. Has a thread while it exists: end it before fork.
class Progress {
 public:
  explicit Progress(std::string task);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  /// Begins the next task of the same work.
  void Begin(std::string task);
  /// Prints a line on standard error, terminal or not.
  void PrintLine(const std::string& line);
  /// Rows that the task has stored so far. Takes no lock.
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
