#include "embedded_host/document/node.h"

#include <algorithm>

#include "embedded_host/text/addresses.h"
#include "embedded_host/text/hexadecimal.h"

namespace quelt {

using nlohmann::json;

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
  throw ScenarioError((pointer_.empty() ? std::string("the document") : pointer_) + ": expected " +
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
  auto bytes = value_->is_string() ? ReadHex(value_->get_ref<const std::string&>()) : std::nullopt;
  if (!bytes || bytes->size() < least || bytes->size() > most) {
    // Don't show the value: it may be a key.
    Fail(least == most ? std::to_string(2 * least) + " hexadecimal digits"
                       : "an even number of hexadecimal digits, " + std::to_string(2 * least) +
                             " to " + std::to_string(2 * most));
  }
  return std::move(*bytes);
}

std::vector<Node> Node::Items() const {
  if (!value_->is_array()) {
    Fail("an array");
  }
  std::vector<Node> items;
  items.reserve(value_->size());
  for (const json& item : *value_) {
    items.emplace_back(item, pointer_ + "/" + std::to_string(items.size()));
  }
  return items;
}

std::vector<std::pair<std::string, Node>> Node::Members() const {
  if (!value_->is_object()) {
    Fail("an object");
  }
  std::vector<std::pair<std::string, Node>> members;
  for (const auto& [key, value] : value_->items()) {
    members.emplace_back(key, Node(value, pointer_ + "/" + EscapedKey(key)));
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
      Node(value, pointer_ + "/" + EscapedKey(key)).Fail("one of these keys instead: " + known);
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
                                : std::optional(Node(*found, pointer_ + "/" + EscapedKey(key)));
}

std::string Node::TextOr(const char* key, std::string fallback) const {
  const std::optional<Node> member = Find(key);
  return member ? member->Text() : std::move(fallback);
}

bool Node::BooleanOr(const char* key, bool fallback) const {
  const std::optional<Node> member = Find(key);
  return member ? member->Boolean() : fallback;
}

std::int64_t Node::IntegerOr(const char* key, std::int64_t fallback, std::int64_t least,
                             std::int64_t most) const {
  const std::optional<Node> member = Find(key);
  return member ? member->Integer(least, most) : fallback;
}

}  // namespace quelt
