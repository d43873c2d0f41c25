// Places for secrets, wiped when they go out of scope, whatever the way out. They touch no Python
// object, so that they may be destroyed with or without the interpreter lock.
#pragma once

#include <string.h>  // explicit_bzero

#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

namespace pyquelt {

/// Zeroes bytes that nobody reads any more: a few of them in a few instructions, where
/// explicit_bzero is two calls.
inline void Wipe(void* bytes, std::size_t size) {
  if (__builtin_constant_p(size) && size <= 64) {
    std::memset(bytes, 0, size);
    __asm__ __volatile__("" : : "r"(bytes) : "memory");  // or the compiler leaves it out
  } else {
    explicit_bzero(bytes, size);
  }
}

/// `Size` bytes for key material, not initialised.
template <std::size_t Size>
class SecretArea {
 public:
  SecretArea() = default;
  SecretArea(const SecretArea&) = delete;
  SecretArea& operator=(const SecretArea&) = delete;
  ~SecretArea() { Wipe(bytes_, Size); }

  static constexpr std::size_t size() { return Size; }
  unsigned char* data() { return bytes_; }
  const char* chars() const { return reinterpret_cast<const char*>(bytes_); }

 private:
  unsigned char bytes_[Size];
};

/// With the room behind the end, where a longer text may have stood.
inline void WipeText(std::string& text) {
  text.resize(text.capacity());
  Wipe(text.data(), text.size());
}

/// A password on its way to or from an operation.
struct SecretText {
  SecretText() : text() {}
  explicit SecretText(const char* copied) : text(copied) {}
  SecretText(const SecretText&) = delete;
  SecretText& operator=(const SecretText&) = delete;
  ~SecretText() {
    if (text.capacity() > std::string().capacity()) {
      WipeText(text);
    }
    text.~basic_string();
    Wipe(this, sizeof *this);  // a short text lies in the object itself
  }

  union {  // ends when the destructor says so
    std::string text;
  };
};

/// A user's name and password, as the store hands them out.
struct SecretTextPair {
  SecretTextPair() = default;
  SecretTextPair(const SecretTextPair&) = delete;
  SecretTextPair& operator=(const SecretTextPair&) = delete;
  ~SecretTextPair() {
    WipeText(texts.first);
    WipeText(texts.second);
  }

  std::pair<std::string, std::string> texts;
};

}  // namespace pyquelt
