#include "embedded_host/kms/socket.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <future>
#include <memory>
#include <system_error>
#include <thread>

namespace quelt {

namespace {

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

[[noreturn]] void ThrowTimedOut() { throw ServerFailure("timed out"); }

[[noreturn]] void ThrowSystem(int error) {
  throw ServerFailure(std::generic_category().message(error));
}

Addresses Resolve(const std::string& host, int port, int flags) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = flags | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int status = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (status != 0) {
    throw ServerFailure(gai_strerror(status));
  }
  return Addresses(found, freeaddrinfo);
}

bool IsNumeric(const std::string& host) {
  try {
    Resolve(host, 0, AI_NUMERICHOST);
    return true;
  } catch (const ServerFailure&) {
    return false;
  }
}

/// A name is looked up in a thread of its own, which is left to itself when it takes too long: the
/// lookup knows no time limit.
Addresses ResolveBy(const std::string& host, int port, Deadline deadline) {
  if (IsNumeric(host)) {
    return Resolve(host, port, AI_NUMERICHOST);
  }
  std::packaged_task<Addresses()> lookup([host, port] { return Resolve(host, port, 0); });
  std::future<Addresses> addresses = lookup.get_future();
  std::thread(std::move(lookup)).detach();
  if (addresses.wait_until(deadline) != std::future_status::ready) {
    ThrowTimedOut();
  }
  return addresses.get();
}

void WaitFor(int descriptor, short event, Deadline deadline) {
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      ThrowTimedOut();
    }
    pollfd entry{descriptor, event, 0};
    const int ready = poll(&entry, 1, static_cast<int>(std::min<long>(left.count(), 1 << 30)));
    if (ready > 0) {
      return;
    }
    if (ready < 0 && errno != EINTR) {
      ThrowSystem(errno);
    }
  }
}

void ConnectTo(int descriptor, const addrinfo& address, Deadline deadline) {
  if (connect(descriptor, address.ai_addr, address.ai_addrlen) == 0) {
    return;
  }
  if (errno != EINPROGRESS && errno != EINTR) {
    ThrowSystem(errno);
  }
  WaitFor(descriptor, POLLOUT, deadline);
  int error = 0;
  socklen_t size = sizeof error;
  getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size);
  if (error != 0) {
    ThrowSystem(error);
  }
}

int Connected(const addrinfo& address, Deadline deadline) {
  const int descriptor =
      socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (descriptor < 0) {
    ThrowSystem(errno);
  }
  try {
    ConnectTo(descriptor, address, deadline);
  } catch (const ServerFailure&) {
    close(descriptor);
    throw;
  }
  return descriptor;
}

}  // namespace

Socket::Socket(const std::string& host, int port, Deadline deadline) {
  const Addresses addresses = ResolveBy(host, port, deadline);
  for (const addrinfo* address = addresses.get(); descriptor_ < 0; address = address->ai_next) {
    try {
      descriptor_ = Connected(*address, deadline);
    } catch (const ServerFailure&) {
      if (address->ai_next == nullptr) {
        throw;
      }
    }
  }
}

Socket::~Socket() { close(descriptor_); }

void Socket::SendAll(std::span<const char> bytes, Deadline deadline) {
  while (!bytes.empty()) {
    const ssize_t sent = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent >= 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(sent));
    } else if (errno == EAGAIN) {
      WaitFor(descriptor_, POLLOUT, deadline);
    } else if (errno != EINTR) {
      ThrowSystem(errno);
    }
  }
}

std::size_t Socket::Receive(std::span<char> buffer, Deadline deadline) {
  for (;;) {
    WaitFor(descriptor_, POLLIN, deadline);
    const ssize_t received = recv(descriptor_, buffer.data(), buffer.size(), 0);
    if (received >= 0) {
      return static_cast<std::size_t>(received);
    }
    if (errno != EAGAIN && errno != EINTR) {
      ThrowSystem(errno);
    }
  }
}

}  // namespace quelt
