// A value in a scenario document, with the JSON pointer to it.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quelt {

/// A document is not a valid scenario. The text has the JSON pointer to the invalid value and what
/// was expected there, for example "/disks/0/dek: expected 128 hexadecimal digits".
class ScenarioError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A key as part of a JSON pointer, with "~" and "/" escaped (RFC 6901).
std::string EscapedKey(std::string_view key);

/// Reads one value of the document. Refers to the document; copies none of it. The functions throw
/// ScenarioError for a value of another type or out of range.
class Node {
 public:
  Node(const nlohmann::json& value, std::string pointer)
      : value_(&value), pointer_(std::move(pointer)) {}

  [[noreturn]] void Fail(std::string_view expectation) const;

  std::string Text() const;
  bool Boolean() const;
  std::int64_t Integer(std::int64_t least = std::numeric_limits<std::int64_t>::min(),
                       std::int64_t most = std::numeric_limits<std::int64_t>::max()) const;
  /// An IPv4 or IPv6 address; returns its canonical text.
  std::string Address() const;
  /// Exactly `bytes` bytes, as hexadecimal digits.
  std::vector<std::uint8_t> Hex(std::size_t bytes) const;
  /// From `least` to `most` bytes, as hexadecimal digits.
  std::vector<std::uint8_t> Hex(std::size_t least, std::size_t most) const;

  /// The items of an array.
  std::vector<Node> Items() const;
  /// The members of an object with arbitrary keys.
  std::vector<std::pair<std::string, Node>> Members() const;

  /// Throws unless the value is an object without other keys than these.
  void AllowOnly(std::span<const std::string_view> keys) const;
  void AllowOnly(std::initializer_list<std::string_view> keys) const {
    AllowOnly(std::span(keys.begin(), keys.size()));
  }
  /// A required member.
  Node At(const char* key) const;
  /// An optional member.
  std::optional<Node> Find(const char* key) const;

  // Optional members with their defaults.
  std::string TextOr(const char* key, std::string fallback) const;
  bool BooleanOr(const char* key, bool fallback) const;
  std::int64_t IntegerOr(const char* key, std::int64_t fallback, std::int64_t least,
                         std::int64_t most) const;

 private:
  const nlohmann::json* value_;
  std::string pointer_;
};

}  // namespace quelt
