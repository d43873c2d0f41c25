// Key material of a fixed length. Used on both sides of the interface, but no part of it: no
// operation takes or returns this type.
#pragma once

#include <string.h>  // explicit_bzero

#include <array>
#include <cstddef>

namespace quelt {

/// `Size` bytes, not initialised, wiped by the destructor. Touches no Python object: it may be
/// destroyed with or without the GIL.
template <std::size_t Size>
class SecretBytes {
 public:
  SecretBytes() = default;
  SecretBytes(const SecretBytes&) = delete;
  SecretBytes& operator=(const SecretBytes&) = delete;
  ~SecretBytes() { explicit_bzero(bytes_.data(), Size); }

  static constexpr std::size_t size() { return Size; }
  unsigned char* data() { return bytes_.data(); }
  const unsigned char* data() const { return bytes_.data(); }

 private:
  std::array<unsigned char, Size> bytes_;
};

}  // namespace quelt
