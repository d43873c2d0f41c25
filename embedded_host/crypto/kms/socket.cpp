#include "embedded_host/crypto/kms/socket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "embedded_host/crypto/kms/server_failure.h"

namespace quelt {

namespace {

[[noreturn]] void ThrowSystemError(int error) {
  throw ServerFailure(std::generic_category().message(error));
}

bool IsClosedByPeer(int error) { return error == EPIPE || error == ECONNRESET; }

}  // namespace

Socket::Socket(const addrinfo& address)
    : descriptor_(
          socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
  if (descriptor_ < 0) {
    ThrowSystemError(errno);
  }
  if (connect(descriptor_, address.ai_addr, address.ai_addrlen) != 0 && errno != EINPROGRESS &&
      errno != EINTR) {
    const int error = errno;
    close(descriptor_);
    ThrowSystemError(error);
  }
}

Socket::~Socket() { close(descriptor_); }

void Socket::FinishConnecting() {
  int error = 0;
  socklen_t size = sizeof error;
  getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &error, &size);
  if (error != 0) {
    ThrowSystemError(error);
  }
}

std::size_t Socket::Send(std::span<const char> bytes) {
  for (;;) {
    const ssize_t sent = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent >= 0) {
      return static_cast<std::size_t>(sent);
    }
    if (errno == EAGAIN) {
      return 0;
    }
    if (IsClosedByPeer(errno)) {
      return bytes.size();
    }
    if (errno != EINTR) {
      ThrowSystemError(errno);
    }
  }
}

std::optional<std::size_t> Socket::Receive(std::span<char> buffer) {
  for (;;) {
    const ssize_t received = recv(descriptor_, buffer.data(), buffer.size(), 0);
    if (received >= 0) {
      return static_cast<std::size_t>(received);
    }
    if (errno == EAGAIN) {
      return std::nullopt;
    }
    if (IsClosedByPeer(errno)) {
      return 0;
    }
    if (errno != EINTR) {
      ThrowSystemError(errno);
    }
  }
}

}  // namespace quelt
