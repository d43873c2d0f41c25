// Key material of a fixed length, wiped when it goes out of scope.
#pragma once

#include <string.h>  // explicit_bzero

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/encryption.h"

namespace quelt {

template <std::size_t Size>
class SecretBytes {
 public:
  SecretBytes() = default;
  SecretBytes(const SecretBytes&) = delete;
  SecretBytes& operator=(const SecretBytes&) = delete;
  ~SecretBytes() { explicit_bzero(bytes_.data(), Size); }

  static constexpr std::size_t size() { return Size; }
  std::uint8_t* data() { return bytes_.data(); }
  const std::uint8_t* data() const { return bytes_.data(); }

 private:
  std::array<std::uint8_t, Size> bytes_{};
};

/// A disk's data-encryption key: both halves of an AES-256-XTS key.
using Dek = SecretBytes<ENCR_DEK_SIZE>;
/// A key-encryption key: AES-256.
using Kek = SecretBytes<32>;

}  // namespace quelt
