#include "embedded_host/scenario/document.h"

#include <string_view>
#include <unordered_set>
#include <vector>

#include "embedded_host/scenario/node.h"

namespace quelt {

using nlohmann::json;

namespace {

/// Follows the parser through the document and refuses a key that stands twice in one object.
class KeyWatch {
 public:
  bool operator()(int, json::parse_event_t event, json& parsed) {
    switch (event) {
      case json::parse_event_t::key:
        Key(parsed.get_ref<const std::string&>());
        break;
      case json::parse_event_t::object_start:
      case json::parse_event_t::array_start:
        open_.push_back({event == json::parse_event_t::array_start, 0, {}, {}});
        break;
      case json::parse_event_t::object_end:
      case json::parse_event_t::array_end:
        open_.pop_back();
        CountItem();
        break;
      case json::parse_event_t::value:
        CountItem();
        break;
    }
    return true;
  }

 private:
  /// An object or array that has not ended yet.
  struct Open {
    bool is_array;
    std::size_t item;  ///< of an array
    std::string key;   ///< of an object
    std::unordered_set<std::string> keys;
  };

  void CountItem() {
    if (!open_.empty()) {
      ++open_.back().item;
    }
  }

  void Key(const std::string& key) {
    open_.back().key = key;
    if (!open_.back().keys.insert(key).second) {
      std::string place;
      for (const Open& level : open_) {
        place += "/" + (level.is_array ? std::to_string(level.item) : EscapedKey(level.key));
      }
      throw ScenarioError(place + ": expected this key once");
    }
  }

  std::vector<Open> open_;
};

/// The parser's reason without its name for it and without the text that it stands at.
std::string Reason(std::string_view what) {
  what.remove_prefix(std::min(what.find("] ") + 2, what.size()));
  what = what.substr(0, what.find("; last read"));
  constexpr std::string_view kAt = "parse error at ";
  return std::string(what.starts_with(kAt) ? what.substr(kAt.size()) : what);
}

}  // namespace

json ParseDocument(const std::string& text) {
  try {
    // The parser takes its callback by value.
    KeyWatch watch;
    return json::parse(text, [&watch](int depth, json::parse_event_t event, json& parsed) {
      return watch(depth, event, parsed);
    });
  } catch (const json::exception& failure) {
    throw ScenarioError(Reason(failure.what()));
  }
}

}  // namespace quelt
