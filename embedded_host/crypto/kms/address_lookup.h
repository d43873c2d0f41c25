// Resolving a host's addresses without blocking the caller.
#pragma once

#include <netdb.h>

#include <future>
#include <memory>
#include <string>

#include "embedded_host/crypto/openssl.h"  // FreedBy

namespace quelt {

/// The result of getaddrinfo.
using Addresses = std::unique_ptr<addrinfo, FreedBy<freeaddrinfo>>;

/// A running lookup. getaddrinfo has no time limit, so a name is looked up in a detached thread,
/// which outlives this object if the caller stops waiting. A numeric address needs no thread.
class AddressLookup {
 public:
  /// Throws ServerFailure.
  AddressLookup(const std::string& host, int port);
  AddressLookup(const AddressLookup&) = delete;
  AddressLookup& operator=(const AddressLookup&) = delete;

  /// Becomes readable when the lookup has finished.
  int descriptor() const;

  /// The result. Call once, when the lookup has finished. Throws ServerFailure if it failed.
  Addresses Take() { return addresses_.get(); }

 private:
  class Event;

  std::shared_ptr<Event> finished_;
  std::future<Addresses> addresses_;
};

}  // namespace quelt
