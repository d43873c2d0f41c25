// A value in a scenario document, together with its place in it.
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

/// A document that is not a scenario: the text gives the place and what was expected there, for
/// example "/disks/0/dek: expected 128 hexadecimal digits".
class ScenarioError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A key as it stands in a place: "~" and "/" are escaped (RFC 6901).
std::string EscapedKey(std::string_view key);

/// Reads one value of the document and refuses what does not fit. Refers to the document.
class Node {
 public:
  Node(const nlohmann::json& value, std::string place) : value_(&value), place_(std::move(place)) {}

  [[noreturn]] void Fail(std::string_view expectation) const;

  std::string Text() const;
  bool Boolean() const;
  std::int64_t Integer(std::int64_t least = std::numeric_limits<std::int64_t>::min(),
                       std::int64_t most = std::numeric_limits<std::int64_t>::max()) const;
  /// An IPv4 or IPv6 address, given back in its normal form.
  std::string Address() const;
  /// Exactly `bytes` bytes, written as twice as many hexadecimal digits.
  std::vector<std::uint8_t> Hex(std::size_t bytes) const;
  /// Any number of bytes from `least` to `most`, as hexadecimal digits.
  std::vector<std::uint8_t> Hex(std::size_t least, std::size_t most) const;

  /// The items of an array.
  std::vector<Node> Items() const;
  /// The members of an object whose keys are data.
  std::vector<std::pair<std::string, Node>> Members() const;

  /// Refuses the value unless it is an object with no other keys than these.
  void AllowOnly(std::span<const std::string_view> keys) const;
  void AllowOnly(std::initializer_list<std::string_view> keys) const {
    AllowOnly(std::span(keys.begin(), keys.size()));
  }
  /// A member that must be there.
  Node At(const char* key) const;
  /// A member that may be missing.
  std::optional<Node> Find(const char* key) const;

  // Optional members with what they are when missing.
  std::string TextOr(const char* key, std::string missing) const;
  bool BooleanOr(const char* key, bool missing) const;
  std::int64_t IntegerOr(const char* key, std::int64_t missing, std::int64_t least,
                         std::int64_t most) const;

 private:
  const nlohmann::json* value_;
  std::string place_;
};

}  // namespace quelt
