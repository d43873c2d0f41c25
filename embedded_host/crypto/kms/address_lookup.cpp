#include "embedded_host/crypto/kms/address_lookup.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <thread>

#include "embedded_host/crypto/kms/server_failure.h"

namespace quelt {

namespace {

Addresses Resolve(const std::string& host, int port, int flags) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = flags | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int status = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (status != 0) {
    throw ServerFailure(gai_strerror(status));
  }
  return Addresses(found);
}

bool IsNumeric(const std::string& host) {
  try {
    Resolve(host, 0, AI_NUMERICHOST);
    return true;
  } catch (const ServerFailure&) {
    return false;
  }
}

[[noreturn]] void ThrowLookupFailure(int error) {
  throw ServerFailure("its name cannot be looked up: " + std::generic_category().message(error));
}

}  // namespace

/// An event file descriptor. Its last owner closes it: the caller, or the thread if the caller
/// stopped waiting.
class AddressLookup::Event {
 public:
  Event() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) {
      ThrowLookupFailure(errno);
    }
  }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() { close(descriptor_); }

  int descriptor() const { return descriptor_; }
  void Set() { eventfd_write(descriptor_, 1); }

 private:
  int descriptor_;
};

AddressLookup::AddressLookup(const std::string& host, int port)
    : finished_(std::make_shared<Event>()) {
  const bool isNumeric = IsNumeric(host);
  std::packaged_task<Addresses()> lookup(
      [host, port, flags = isNumeric ? AI_NUMERICHOST : 0] { return Resolve(host, port, flags); });
  addresses_ = lookup.get_future();
  auto run = [lookup = std::move(lookup), finished = finished_]() mutable {
    lookup();
    finished->Set();
  };
  if (isNumeric) {
    run();
    return;
  }
  try {
    std::thread(std::move(run)).detach();
  } catch (const std::system_error& failure) {
    ThrowLookupFailure(failure.code().value());
  }
}

int AddressLookup::descriptor() const { return finished_->descriptor(); }

}  // namespace quelt
