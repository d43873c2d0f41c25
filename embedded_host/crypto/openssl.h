// What all uses of OpenSSL here share: its start, owners of its objects, its failures.
//
// OpenSSL's locks don't know of forks. What takes one of them (its start, whatever it fetches by
// name, certificates, TLS) is done while forks wait (store/pool.h); no static variable is made at
// its first use outside that, as a child would wait for it for good.
#pragma once

#include <openssl/evp.h>

#include <atomic>
#include <memory>
#include <string>

#include "embedded_host/store/pool.h"

namespace quelt {

/// Starts the library before its first use, without its exit handler: at exit, daemon threads may
/// still be inside.
void PrepareOpenssl();

/// Throws QueltCtlException with `what` and OpenSSL's own reason, and empties its error queue.
[[noreturn]] void ThrowOpensslFailure(const std::string& what);

/// OpenSSL's reason for the failure that comes first in the queue; empties the queue.
std::string TakeOpensslReason();

/// A cipher of OpenSSL by name: fetched at its first use, kept for the life of the process. For
/// constants: made without code that runs at the start.
class Cipher {
 public:
  constexpr explicit Cipher(const char* name) noexcept : name_(name) {}
  Cipher(const Cipher&) = delete;
  Cipher& operator=(const Cipher&) = delete;

  /// Throws QueltCtlException.
  const EVP_CIPHER* Get() {
    const EVP_CIPHER* const cipher = cipher_.load(std::memory_order_acquire);
    return cipher != nullptr ? cipher : Fetch();
  }

 private:
  const EVP_CIPHER* Fetch();

  const char* const name_;
  std::atomic<const EVP_CIPHER*> cipher_{nullptr};
};

/// Gives an OpenSSL object back with its own function.
template <auto Free>
struct FreedBy {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

/// The same for objects whose release takes one of OpenSSL's locks: those with certificates,
/// private keys and TLS.
template <auto Free>
struct FreedWithForksBlocked {
  template <typename T>
  void operator()(T* object) const {
    const ForkBlocker forkBlocker;
    Free(object);
  }
};

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, FreedBy<EVP_CIPHER_CTX_free>>;
CipherContext NewCipherContext();

}  // namespace quelt
