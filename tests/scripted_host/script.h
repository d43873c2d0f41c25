// A host library that answers from a script and records every call: for what the embedded host
// cannot produce.
//
// Texts travel as JSON strings in which each character stands for one byte (U+0000 to U+00FF), so
// that bytes that are not UTF-8 and zero bytes survive. A script gives each operation a list of
// answers; the last one is used again for all further calls. An answer is an object:
//
//   {"returns": value, "out": {name: value, ...}, "delay": seconds, "watch": seconds,
//    "throws": {"type": "QueltCtlException", "text": "..."}}
//
// "watch" waits until the test's counter has moved, so long at most. Every member may be missing.
// The type thrown may also be "foreign", of another language, or "end of the thread", by unwinding.
// Outputs that the answer does not name are left unwritten.
#pragma once

#include <atomic>
#include <nlohmann/json.hpp>
#include <string>

namespace scripted {

using nlohmann::json;

/// The script's text for a byte string, and back. While the host keeps secrets (for a test that
/// searches the memory for them), nothing is recorded, and the script has every bit turned round.
json ToJson(const std::string& bytes);
json ToJson(const char* text);  ///< null for a null pointer
json ToJson(const void* bytes, std::size_t size);
std::string ToBytes(const json& text);

/// Platform objects and sessions that the module has and must give back.
extern std::atomic<long> handedOut;
struct HandedOut {
  HandedOut() { ++handedOut; }
  HandedOut(const HandedOut&) = delete;
  HandedOut& operator=(const HandedOut&) = delete;
  ~HandedOut() { --handedOut; }
};

/// The answer to one call of `operation`: records the call, waits, throws as the script says.
class Answer {
 public:
  explicit Answer(const char* operation, json arguments = json::array());

  /// What the operation returns; `otherwise` when the script does not say.
  template <typename T>
  T Returns(T otherwise) const {
    return answer_.contains("returns") ? Value<T>(answer_["returns"]) : otherwise;
  }

  /// Whether the script says that null is returned.
  bool ReturnsNull() const { return answer_.contains("returns") && answer_["returns"].is_null(); }

  /// Writes an output, when the script gives it.
  template <typename T>
  void Out(const char* name, T& output) const {
    if (const json* value = FindOut(name)) {
      output = Value<T>(*value);
    }
  }

  /// The output's JSON, or null when the script does not give it.
  const json* FindOut(const char* name) const;
  /// The whole answer, for shapes of an operation's own.
  const json& all() const { return answer_; }

 private:
  template <typename T>
  static T Value(const json& value) {
    if constexpr (std::is_same_v<T, std::string>) {
      return ToBytes(value);
    } else {
      return value.get<T>();
    }
  }

  json answer_;
};

}  // namespace scripted
