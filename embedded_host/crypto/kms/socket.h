// A TCP connection that never blocks.
#pragma once

#include <netdb.h>

#include <optional>
#include <span>

namespace quelt {

class Socket {
 public:
  /// Starts to connect. All functions of this class throw ServerFailure.
  explicit Socket(const addrinfo& address);
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket();

  /// Becomes writable when the connection is established or has failed.
  int descriptor() const { return descriptor_; }
  /// Call when the descriptor has become writable.
  void FinishConnecting();

  /// The number of bytes sent; fewer than all when the socket's buffer is full. All when the peer
  /// has closed the connection: Receive still returns what the peer sent before, including the
  /// cause.
  std::size_t Send(std::span<const char> bytes);
  /// The number of bytes received; 0 when the peer has closed or reset the connection, nothing when
  /// no bytes have arrived yet.
  std::optional<std::size_t> Receive(std::span<char> buffer);

 private:
  int descriptor_;
};

}  // namespace quelt
