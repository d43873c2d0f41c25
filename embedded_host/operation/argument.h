// Arguments of an operation by name, as the journal shows them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <variant>

namespace quelt {

/// Stands for key material or a password: holds only its length.
struct Secret {
  explicit Secret(std::string_view text) : bytes(text.size()) {}
  explicit Secret(std::size_t length) : bytes(length) {}
  std::size_t bytes;
};

/// One argument by name. Refers to the caller's value: only for passing it on.
struct Argument {
  std::string_view name;
  std::variant<std::string_view, std::int64_t, std::uint64_t, bool, Secret> value;
};

}  // namespace quelt
