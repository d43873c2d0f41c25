// Places for secrets, wiped when they go out of scope, whatever the way out. They touch no Python
// object, so that they may be destroyed with or without the interpreter lock.
#pragma once

#include <string.h>  // explicit_bzero

#include <cstddef>
#include <string>

namespace pyquelt {

/// `Size` bytes for key material, not initialised.
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

/// A password on its way to or from an operation.
struct SecretText {
  SecretText() = default;
  explicit SecretText(const char* copied) : text(copied) {}
  SecretText(const SecretText&) = delete;
  SecretText& operator=(const SecretText&) = delete;
  ~SecretText() { Wipe(text); }

  /// With the room behind the end, where a longer text may have stood.
  static void Wipe(std::string& text) {
    text.resize(text.capacity());
    explicit_bzero(text.data(), text.size());
  }

  std::string text;
};

}  // namespace pyquelt
