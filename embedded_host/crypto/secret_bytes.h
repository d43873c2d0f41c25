// The host's keys, wiped when they go out of scope.
#pragma once

#include "platform/encryption.h"
#include "platform/secret_bytes.h"

namespace quelt {

/// A disk's data-encryption key: both halves of an AES-256-XTS key.
using Dek = SecretBytes<ENCR_DEK_SIZE>;
/// A key-encryption key: AES-256.
using Kek = SecretBytes<32>;

}  // namespace quelt
