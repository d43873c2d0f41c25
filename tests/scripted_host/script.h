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
// A text that is null is what what() returns.
// Outputs that the answer does not name are left unwritten.
//
// While the host keeps secrets (for a test that searches the memory for them), no text is recorded,
// and the script has every bit turned round.
#pragma once

#include <string.h>  // explicit_bzero

#include <atomic>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/quelt_util.h"

namespace scripted {

using nlohmann::json;

template <typename T>
concept Arithmetic = std::is_arithmetic_v<T>;

/// A UUID of the platform.
template <typename T>
concept IdentifierBytes = sizeof(T) == 16 && std::is_trivially_copyable_v<T>;

/// An argument as it is recorded: a number or flag as it is, a text or bytes, an address in its
/// normal form, null for a null pointer.
template <Arithmetic Number>
json Recorded(Number number) {
  return number;
}
json Recorded(const std::string& text);
json Recorded(const char* text);
json Recorded(const HostCtl::Quelt::QueltIpAddress& address);
json Recorded(const std::vector<std::string>& texts);
json Bytes(const void* bytes, std::size_t size);
template <IdentifierBytes Identifier>
json Recorded(const Identifier& identifier) {
  return Bytes(&identifier, sizeof identifier);
}
inline json Recorded(const json& composed) { return composed; }

/// The bytes of a script's text.
std::string ToBytes(const json& text);

/// What the script gives for a value: a number, a text, or the bytes of an area.
template <typename T>
void Read(const json& given, T& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    value = ToBytes(given);
  } else if constexpr (std::is_enum_v<T> || std::is_arithmetic_v<T>) {
    value = given.get<T>();
  } else {
    std::string bytes = ToBytes(given);
    if constexpr (std::is_pointer_v<T>) {
      std::memcpy(value, bytes.data(), bytes.size());
    } else {
      std::memcpy(&value, bytes.data(), bytes.size());
    }
    explicit_bzero(bytes.data(), bytes.size());
  }
}

/// Reads members of an object by name, one after the other; those that are missing stay.
inline void ReadMembers(const json&) {}
template <typename T, typename... More>
void ReadMembers(const json& object, const char* name, T&& value, More&&... more) {
  if (const auto found = object.find(name); found != object.end()) {
    Read(*found, value);
  }
  ReadMembers(object, std::forward<More>(more)...);
}

/// Platform objects and sessions that the module has and must give back.
extern std::atomic<long> handedOut;
struct HandedOut {
  HandedOut() { ++handedOut; }
  HandedOut(const HandedOut&) = delete;
  HandedOut& operator=(const HandedOut&) = delete;
  ~HandedOut() { --handedOut; }
};

/// Not json{item...}: with a single item, compilers take it for a copy or for a list.
template <typename... Items>
json ListOf(const Items&... items) {
  json list = json::array();
  (list.push_back(items), ...);
  return list;
}

/// The answer to one call of `operation`: records the call, waits, throws as the script says.
class Answer {
 public:
  template <typename... Arguments>
  explicit Answer(const char* operation, const Arguments&... arguments) {
    const json before = ListOf(Recorded(arguments)...);
    answer_ = RecordCall(operation, before);
    if (Wait(operation) && ListOf(Recorded(arguments)...) != before) {
      RecordChange(operation);
    }
    if (!answer_.contains("out")) {
      ThrowIfToldTo();
    }
  }

  /// What the operation returns; `otherwise` when the script does not say.
  template <typename T>
  T Returns(T otherwise) const {
    ReadMembers(answer_, "returns", otherwise);
    return otherwise;
  }
  /// Whether the script says that null is returned.
  bool ReturnsNull() const { return answer_.contains("returns") && answer_["returns"].is_null(); }

  /// Whether the script gives this output.
  bool Gives(const char* name) const { return out().contains(name); }
  /// Writes outputs, by name, when the script gives them; what it throws as well comes after that.
  template <typename... Outputs>
  const Answer& Out(Outputs&&... outputs) const {
    ReadMembers(out(), std::forward<Outputs>(outputs)...);
    ThrowIfToldTo();
    return *this;
  }
  /// The elements of an output that is a list; none when the script does not give it.
  json List(const char* name) const { return out().value(name, json::array()); }
  /// What the script gives under `name` as a text of malloc, or null.
  char* NewText(const char* name) const;

 private:
  /// Records a call and takes its answer.
  static json RecordCall(const char* operation, const json& arguments);
  static void RecordChange(const char* operation);
  /// Waits as the script says; false when it says nothing.
  bool Wait(const char* operation) const;
  void ThrowIfToldTo() const;
  json out() const { return answer_.value("out", json::object()); }

  json answer_;
};

}  // namespace scripted
