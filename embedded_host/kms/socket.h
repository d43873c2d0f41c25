// A TCP connection whose every step is bounded by a deadline.
#pragma once

#include <chrono>
#include <span>
#include <stdexcept>
#include <string>

namespace quelt {

using Deadline = std::chrono::steady_clock::time_point;

/// Why a server could not be reached or used; the text follows the server's name.
class ServerFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Socket {
 public:
  /// Connects to a name or a numeric address, trying each address of a name in turn. Throws
  /// ServerFailure, as all operations here do.
  Socket(const std::string& host, int port, Deadline deadline);
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket();

  void SendAll(std::span<const char> bytes, Deadline deadline);
  /// At least one byte; none when the peer has closed.
  std::size_t Receive(std::span<char> buffer, Deadline deadline);

 private:
  int descriptor_ = -1;
};

}  // namespace quelt
