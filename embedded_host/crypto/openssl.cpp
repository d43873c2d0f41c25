#include "embedded_host/crypto/openssl.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include "platform/exception.h"

namespace quelt {

void PrepareOpenssl() {
  static const bool ready = OPENSSL_init_ssl(OPENSSL_INIT_NO_ATEXIT, nullptr) == 1;
  if (!ready) {
    ThrowOpensslFailure("OpenSSL cannot be started");
  }
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

const EVP_CIPHER* FetchCipher(const char* name) {
  PrepareOpenssl();
  const EVP_CIPHER* const cipher = EVP_CIPHER_fetch(nullptr, name, nullptr);
  if (cipher == nullptr) {
    ThrowOpensslFailure(std::string("OpenSSL gives no cipher ") + name);
  }
  return cipher;
}

CipherContext NewCipherContext() {
  CipherContext context(EVP_CIPHER_CTX_new());
  if (context == nullptr) {
    throw std::bad_alloc();
  }
  return context;
}

}  // namespace quelt
