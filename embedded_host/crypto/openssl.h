// What all uses of OpenSSL here share: its start, owners of its objects, its failures.
#pragma once

#include <openssl/evp.h>

#include <memory>
#include <string>

namespace quelt {

/// Starts the library before its first use, without its exit handler: at exit, daemon threads may
/// still be inside.
void PrepareOpenssl();

/// Throws QueltCtlException with `what` and OpenSSL's own reason, and empties its error queue.
[[noreturn]] void ThrowOpensslFailure(const std::string& what);

/// OpenSSL's reason for the failure that comes first in the queue; empties the queue.
std::string TakeOpensslReason();

/// The cipher `name`, for the life of the process.
const EVP_CIPHER* FetchCipher(const char* name);

/// Gives an OpenSSL object back with its own function.
template <auto Free>
struct FreedBy {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, FreedBy<EVP_CIPHER_CTX_free>>;
CipherContext NewCipherContext();

}  // namespace quelt
