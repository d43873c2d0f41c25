// Initialization of OpenSSL, owners of its objects, and its failures.
//
// OpenSSL does not handle forks: a child that is forked while another thread holds one of its locks
// would block forever. Code that takes such a lock (initialization, fetching by name, certificates,
// TLS) therefore delays forks with ForkBlocker (store/pool.h). For the same reason, no
// function-local static variable is initialized outside it.
#pragma once

#include <openssl/evp.h>

#include <atomic>
#include <memory>
#include <string>

#include "embedded_host/store/pool.h"

namespace quelt {

/// Initializes the library once, without its exit handler: at exit, daemon threads may still use
/// it.
void PrepareOpenssl();

/// Throws QueltCtlException with `what` and OpenSSL's reason, and clears OpenSSL's error queue.
[[noreturn]] void ThrowOpensslFailure(const std::string& what);

/// The reason of the first failure in OpenSSL's error queue; clears the queue.
std::string TakeOpensslReason();

/// A cipher of OpenSSL, fetched by name at its first use and never freed. For global variables:
/// the constructor is constexpr, so they are initialized at compile time.
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

/// A deleter that calls the type's own function.
template <auto Free>
struct FreedBy {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

/// A deleter for objects whose release takes one of OpenSSL's locks: certificates, private keys and
/// TLS.
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
