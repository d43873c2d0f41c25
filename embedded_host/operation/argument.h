// The arguments of an operation, as the journal shows them. An operation passes key material and
// passwords as Secret, of which the journal shows only the length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <variant>

namespace quelt {

/// The length of key material or of a password.
struct Secret {
  explicit Secret(std::string_view text) : bytes(text.size()) {}
  explicit Secret(std::size_t length) : bytes(length) {}
  std::size_t bytes;
};

/// A named argument. Refers to the caller's value: use it only as a function argument.
struct Argument {
  std::string_view name;
  std::variant<std::string_view, std::int64_t, std::uint64_t, bool, Secret> value;
};

}  // namespace quelt
