// A fixed area for key material, wiped when it goes out of scope, whatever the way out.
#pragma once

#include <string.h>  // explicit_bzero

#include <cstddef>

namespace pyquelt {

/// `Size` bytes, not initialised. Touches no Python object, so that it may be destroyed with or
/// without the interpreter lock.
template <std::size_t Size>
class SecretArea {
 public:
  SecretArea() = default;
  SecretArea(const SecretArea&) = delete;
  SecretArea& operator=(const SecretArea&) = delete;
  ~SecretArea() { explicit_bzero(bytes_, Size); }

  static constexpr std::size_t size() { return Size; }
  unsigned char* data() { return bytes_; }
  const char* chars() const { return reinterpret_cast<const char*>(bytes_); }

 private:
  unsigned char bytes_[Size];
};

}  // namespace pyquelt
