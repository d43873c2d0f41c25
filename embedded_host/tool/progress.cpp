#include "embedded_host/tool/progress.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <iostream>
#include <utility>

namespace quelt {

Progress::Progress(std::string task) : task_(std::move(task)) {
  if (isatty(STDERR_FILENO) == 0) {
    return;
  }
  // Only the main thread handles signals, and it may block them.
  sigset_t all{};
  sigset_t before{};
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    thread_ = std::thread(&Progress::Show, this);
  } catch (const std::exception&) {
    // The work continues without showing progress.
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Progress::~Progress() {
  if (!thread_.joinable()) {
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    done_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Progress::Begin(std::string task) {
  const std::lock_guard lock(mutex_);
  task_ = std::move(task);
  SetRows(0);
}

void Progress::PrintLine(const std::string& line) {
  const std::lock_guard lock(mutex_);
  Clear();
  std::cerr << line + "\n" << std::flush;
}

void Progress::Clear() {
  if (shown_) {
    std::cerr << "\r\x1b[K" << std::flush;
    shown_ = false;
  }
}

void Progress::Show() {
  using std::chrono::steady_clock;
  const auto start = steady_clock::now();
  std::unique_lock lock(mutex_);
  std::chrono::milliseconds pause{1000};
  while (!changed_.wait_for(lock, pause, [this] { return done_; })) {
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start);
    const std::int64_t rows = rows_.load(std::memory_order_relaxed);
    std::cerr << "\r\x1b[K" + task_ + ": " + (rows == 0 ? "" : std::to_string(rows) + " rows, ") +
                     std::to_string(elapsed.count()) + " s"
              << std::flush;
    shown_ = true;
    pause = std::chrono::milliseconds(200);
  }
  Clear();
}

}  // namespace quelt
