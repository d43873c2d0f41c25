#include "embedded_host/document/node.h"

#include <algorithm>
#include <charconv>

#include "embedded_host/text/addresses.h"

namespace quelt {

using nlohmann::json;

namespace {

bool IsHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

std::string EscapedKey(std::string_view key) {
  std::string escaped;
  for (const char c : key) {
    if (c == '~') {
      escaped += "~0";
    } else if (c == '/') {
      escaped += "~1";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

void Node::Fail(std::string_view expectation) const {
  throw ScenarioError((place_.empty() ? std::string("the document") : place_) + ": expected " +
                      std::string(expectation));
}

std::string Node::Text() const {
  if (!value_->is_string()) {
    Fail("a text");
  }
  return value_->get<std::string>();
}

bool Node::Boolean() const {
  if (!value_->is_boolean()) {
    Fail("true or false");
  }
  return value_->get<bool>();
}

std::int64_t Node::Integer(std::int64_t least, std::int64_t most) const {
  const bool fits = value_->is_number_integer() &&
                    (!value_->is_number_unsigned() ||
                     value_->get<std::uint64_t>() <=
                         static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()));
  if (!fits || value_->get<std::int64_t>() < least || value_->get<std::int64_t>() > most) {
    Fail("an integer from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return value_->get<std::int64_t>();
}

std::string Node::Address() const {
  HostCtl::Quelt::QueltIpAddress address;
  if (!value_->is_string() || !ParseAddress(value_->get<std::string>(), address)) {
    Fail("an IPv4 or IPv6 address");
  }
  return AddressText(address);
}

std::vector<std::uint8_t> Node::Hex(std::size_t bytes) const { return Hex(bytes, bytes); }

std::vector<std::uint8_t> Node::Hex(std::size_t least, std::size_t most) const {
  const std::string digits = value_->is_string() ? value_->get<std::string>() : std::string();
  const bool fits = value_->is_string() && digits.size() % 2 == 0 && digits.size() / 2 >= least &&
                    digits.size() / 2 <= most &&
                    std::all_of(digits.begin(), digits.end(), IsHexDigit);
  if (!fits) {
    // The value may be a key: it is not shown.
    Fail(least == most ? std::to_string(2 * least) + " hexadecimal digits"
                       : "an even number of hexadecimal digits, " + std::to_string(2 * least) +
                             " to " + std::to_string(2 * most));
  }
  std::vector<std::uint8_t> bytes(digits.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::from_chars(&digits[2 * i], &digits[2 * i] + 2, bytes[i], 16);
  }
  return bytes;
}

std::vector<Node> Node::Items() const {
  if (!value_->is_array()) {
    Fail("an array");
  }
  std::vector<Node> items;
  items.reserve(value_->size());
  for (const json& item : *value_) {
    items.emplace_back(item, place_ + "/" + std::to_string(items.size()));
  }
  return items;
}

std::vector<std::pair<std::string, Node>> Node::Members() const {
  if (!value_->is_object()) {
    Fail("an object");
  }
  std::vector<std::pair<std::string, Node>> members;
  for (const auto& [key, value] : value_->items()) {
    members.emplace_back(key, Node(value, place_ + "/" + EscapedKey(key)));
  }
  return members;
}

void Node::AllowOnly(std::span<const std::string_view> keys) const {
  if (!value_->is_object()) {
    Fail("an object");
  }
  for (const auto& [key, value] : value_->items()) {
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
      std::string known;
      for (const std::string_view name : keys) {
        known += (known.empty() ? "" : ", ") + std::string(name);
      }
      Node(value, place_ + "/" + EscapedKey(key)).Fail("one of these keys instead: " + known);
    }
  }
}

Node Node::At(const char* key) const {
  std::optional<Node> member = Find(key);
  if (!member) {
    Fail(std::string("a member \"") + key + "\"");
  }
  return *member;
}

std::optional<Node> Node::Find(const char* key) const {
  if (!value_->is_object()) {
    Fail("an object");
  }
  const auto found = value_->find(key);
  return found == value_->end() ? std::nullopt
                                : std::optional(Node(*found, place_ + "/" + EscapedKey(key)));
}

std::string Node::TextOr(const char* key, std::string missing) const {
  const std::optional<Node> member = Find(key);
  return member ? member->Text() : std::move(missing);
}

bool Node::BooleanOr(const char* key, bool missing) const {
  const std::optional<Node> member = Find(key);
  return member ? member->Boolean() : missing;
}

std::int64_t Node::IntegerOr(const char* key, std::int64_t missing, std::int64_t least,
                             std::int64_t most) const {
  const std::optional<Node> member = Find(key);
  return member ? member->Integer(least, most) : missing;
}

std::string HexText(const std::uint8_t* bytes, std::size_t size) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * size);
  for (std::size_t i = 0; i < size; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

}  // namespace quelt
