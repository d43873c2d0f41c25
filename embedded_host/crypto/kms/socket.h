// A TCP connection that never blocks.
#pragma once

#include <netdb.h>

#include <optional>
#include <span>

namespace quelt {

class Socket {
 public:
  /// Starts to connect. Throws ServerFailure, as all operations here do.
  explicit Socket(const addrinfo& address);
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket();

  /// Becomes writable when the connection stands or has failed.
  int descriptor() const { return descriptor_; }
  /// Call when the descriptor has become writable.
  void FinishConnecting();

  /// How many bytes were sent; fewer than all when the socket's buffer is full. A connection that
  /// the peer has closed takes all: what the peer sent before, and the cause, is still received.
  std::size_t Send(std::span<const char> bytes);
  /// How many bytes were received; 0 when the peer has closed the connection or broken it off,
  /// nothing when there are none yet.
  std::optional<std::size_t> Receive(std::span<char> buffer);

 private:
  int descriptor_;
};

}  // namespace quelt
