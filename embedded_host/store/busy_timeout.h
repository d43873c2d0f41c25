// The busy time-out: how long an operation waits for another writer before it fails.
#pragma once

#include <chrono>
#include <optional>

struct sqlite3;

namespace quelt {

inline constexpr std::chrono::seconds kDefaultBusyTimeout{30};

/// QUELT_HOST_WAIT in whole seconds; kDefaultBusyTimeout when that is unset or not a number.
std::chrono::seconds ReadBusyTimeout();

/// Makes the statements of one SQLite connection wait while another process writes. SQLite keeps a
/// pointer to it: it outlives the connection.
class BusyHandler {
 public:
  explicit BusyHandler(std::chrono::seconds timeout) : timeout_(timeout) {}
  BusyHandler(const BusyHandler&) = delete;
  BusyHandler& operator=(const BusyHandler&) = delete;

  /// Enabled, statements wait; disabled, they fail with SQLITE_BUSY at once.
  void Enable(sqlite3* connection, bool enabled);

  /// Sets when statements stop waiting; with std::nullopt, `timeout` after the next wait begins.
  void SetDeadline(std::optional<std::chrono::steady_clock::time_point> deadline) {
    deadline_ = deadline;
  }

 private:
  static int Wait(void* handler, int retries);

  const std::chrono::seconds timeout_;
  std::optional<std::chrono::steady_clock::time_point> deadline_;
};

}  // namespace quelt
