#include "embedded_host/document/parse.h"

#include <algorithm>
#include <istream>
#include <string_view>
#include <utility>
#include <vector>

#include "embedded_host/document/node.h"

namespace quelt {

using nlohmann::json;

namespace {

/// The parser's message without its error id and without the quotation of the document.
std::string ReasonOf(std::string_view what) {
  what.remove_prefix(std::min(what.find("] ") + 2, what.size()));
  what = what.substr(0, what.find("; last read"));
  constexpr std::string_view kAt = "parse error at ";
  return std::string(what.starts_with(kAt) ? what.substr(kAt.size()) : what);
}

/// Builds the document and rejects duplicate keys. (The library's own filter takes quadratic time
/// for arrays: it checks all items again after each of them.)
// NOLINTNEXTLINE(bugprone-exception-escape): json's own destructor and move don't throw
class Builder : public json::json_sax_t {
 public:
  json Take() { return std::move(root_); }

  bool null() override { return Add(nullptr); }
  bool boolean(bool value) override { return Add(value); }
  bool number_integer(number_integer_t value) override { return Add(value); }
  bool number_unsigned(number_unsigned_t value) override { return Add(value); }
  bool number_float(number_float_t value, const string_t&) override { return Add(value); }
  bool string(string_t& value) override { return Add(std::move(value)); }
  bool binary(binary_t& value) override { return Add(std::move(value)); }
  bool start_object(std::size_t) override { return Open(json::object()); }
  bool start_array(std::size_t) override { return Open(json::array()); }
  bool end_object() override { return Close(); }
  bool end_array() override { return Close(); }

  bool key(string_t& value) override {
    Level& level = open_.back();
    level.key = std::move(value);
    if (level.container->contains(level.key)) {
      throw ScenarioError(Pointer() + ": expected this key once");
    }
    return true;
  }

  bool parse_error(std::size_t, const std::string&, const json::exception& failure) override {
    throw ScenarioError(ReasonOf(failure.what()));
  }

 private:
  /// An object or array that has not ended yet.
  struct Level {
    json* container;
    std::string key;  ///< of an object: the current one
  };

  json& Put(json value) {
    if (open_.empty()) {
      root_ = std::move(value);
      return root_;
    }
    const Level& level = open_.back();
    if (level.container->is_array()) {
      return level.container->emplace_back(std::move(value));
    }
    return (*level.container)[level.key] = std::move(value);
  }

  bool Add(json value) {
    Put(std::move(value));
    return true;
  }
  bool Open(json container) {
    json& put = Put(std::move(container));
    open_.push_back({&put, {}});
    return true;
  }
  bool Close() {
    open_.pop_back();
    return true;
  }

  std::string Pointer() const {
    std::string pointer;
    for (const Level& level : open_) {
      const bool isArray = level.container->is_array();
      pointer +=
          "/" + (isArray ? std::to_string(level.container->size() - 1) : EscapedKey(level.key));
    }
    return pointer;
  }

  json root_;
  std::vector<Level> open_;  // an open container does not move: items are only added to the last
};

}  // namespace

json ParseDocument(std::istream& text) {
  Builder builder;
  json::sax_parse(text, &builder);
  return builder.Take();
}

}  // namespace quelt
