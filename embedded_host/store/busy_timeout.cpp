#include "embedded_host/store/busy_timeout.h"

#include <sqlite3.h>

#include <charconv>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <thread>

namespace quelt {

std::chrono::seconds ReadBusyTimeout() {
  const char* const variable = std::getenv("QUELT_HOST_WAIT");
  const std::string_view text = variable == nullptr ? "" : variable;
  const char* const end = text.data() + text.size();
  unsigned seconds = 0;
  const auto read = std::from_chars(text.data(), end, seconds);
  const bool isNumber = read.ec == std::errc() && read.ptr == end;
  return isNumber ? std::chrono::seconds(seconds) : kDefaultBusyTimeout;
}

void BusyHandler::Enable(sqlite3* connection, bool enabled) {
  sqlite3_busy_handler(connection, enabled ? &BusyHandler::Wait : nullptr, this);
}

/// Called by SQLite while another process writes; zero makes the statement fail. Retries more often
/// than SQLite's own handler, whose pauses of 100 ms let one busy process starve the others.
int BusyHandler::Wait(void* handler, int retries) {
  BusyHandler& self = *static_cast<BusyHandler*>(handler);
  const auto now = std::chrono::steady_clock::now();
  if (!self.deadline_) {
    self.deadline_ = now + self.timeout_;
  }
  if (now >= *self.deadline_) {
    return 0;
  }
  std::this_thread::sleep_for(std::chrono::microseconds(retries < 20 ? 250 : 2500));
  return 1;
}

}  // namespace quelt
