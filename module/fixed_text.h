// A text as a template argument.
#pragma once

#include <algorithm>
#include <cstddef>

namespace pyquelt {

template <std::size_t kSize>
struct FixedText {
  char text[kSize]{};

  // Implicit, so that a string literal is an argument: Set<"port">(port).
  consteval FixedText(const char (&literal)[kSize]) { std::copy_n(literal, kSize, text); }
};

}  // namespace pyquelt
