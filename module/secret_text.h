// Passwords on their way to or from an operation.
#pragma once

#include <string.h>  // explicit_bzero

#include <string>

namespace pyquelt {

/// Wipes a text at the end of the scope, on every path. Declare it right after the text. Touches no
/// Python object: it may be destroyed with or without the GIL.
class SecretText {
 public:
  /// `text` outlives this object.
  explicit SecretText(std::string& text) : text_(text) {}
  SecretText(const SecretText&) = delete;
  SecretText& operator=(const SecretText&) = delete;
  // The full capacity: a longer value may have been stored before.
  ~SecretText() { explicit_bzero(text_.data(), text_.capacity()); }

 private:
  std::string& text_;
};

}  // namespace pyquelt
