#include "embedded_host/crypto/openssl.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include "embedded_host/store/pool.h"
#include "platform/exception.h"

namespace quelt {

void PrepareOpenssl() {
  static constinit std::atomic<bool> ready = false;
  if (ready.load(std::memory_order_acquire)) {
    return;
  }
  const ForkBlocker forkBlocker;
  if (OPENSSL_init_ssl(OPENSSL_INIT_NO_ATEXIT, nullptr) != 1) {
    ThrowOpensslFailure("OpenSSL cannot be initialized");
  }
  ready.store(true, std::memory_order_release);
}

std::string TakeOpensslReason() {
  const unsigned long error = ERR_get_error();
  ERR_clear_error();
  const char* const reason = error == 0 ? nullptr : ERR_reason_error_string(error);
  return reason == nullptr ? "unknown reason" : reason;
}

void ThrowOpensslFailure(const std::string& what) {
  throw HostCtl::Lib::Quelt::QueltCtlException(what + ": " + TakeOpensslReason());
}

const EVP_CIPHER* Cipher::Fetch() {
  const ForkBlocker forkBlocker;
  PrepareOpenssl();
  EVP_CIPHER* const fetched = EVP_CIPHER_fetch(nullptr, name_, nullptr);
  if (fetched == nullptr) {
    ThrowOpensslFailure(std::string("OpenSSL has no cipher ") + name_);
  }
  const EVP_CIPHER* fetchedByOther = nullptr;
  if (!cipher_.compare_exchange_strong(fetchedByOther, fetched)) {
    EVP_CIPHER_free(fetched);
    return fetchedByOther;
  }
  return fetched;
}

CipherContext NewCipherContext() {
  CipherContext context(EVP_CIPHER_CTX_new());
  if (context == nullptr) {
    throw std::bad_alloc();
  }
  return context;
}

}  // namespace quelt
