// A host library that answers from a script and records every call: for answers that the embedded
// host cannot give.
//
// Texts are JSON strings in which each character represents one byte (U+0000 to U+00FF), so that
// they can contain zero bytes and bytes that are not UTF-8. A script has a list of answers for each
// operation; the last one is repeated. An answer is an object:
//
//   {"returns": value, "out": {name: value, ...}, "delay": seconds, "watch": seconds,
//    "throws": {"type": "QueltCtlException", "text": "..."}}
//
// "watch" waits until the test's counter has increased, at most for this time. Every member is
// optional. The type may also be "foreign", an exception of another language, or "end of the
// thread", which unwinds it. With a null text, what() returns null. Outputs that are not named are
// not written.
//
// In secret mode (for a test that searches the memory for secrets), no text is recorded, and every
// bit of the script's texts is inverted.
#pragma once

#include <string.h>  // explicit_bzero

#include <atomic>
#include <cstring>
#include <exception>
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

/// The recorded form of an argument: a number, a flag, a text, bytes, an address in its normal
/// form, null for a null pointer.
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

/// Reads a value of the script: a number, a text, or the bytes of a buffer.
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

/// Reads members of an object by name; missing ones leave their value unchanged.
inline void ReadMembers(const json&) {}
template <typename T, typename... More>
void ReadMembers(const json& object, const char* name, T&& value, More&&... more) {
  if (const auto found = object.find(name); found != object.end()) {
    Read(*found, value);
  }
  ReadMembers(object, std::forward<More>(more)...);
}

/// The number of platform objects and sessions that the module must still release.
extern std::atomic<long> liveObjects;
struct LiveObject {
  LiveObject() { ++liveObjects; }
  LiveObject(const LiveObject&) = delete;
  LiveObject& operator=(const LiveObject&) = delete;
  ~LiveObject() { --liveObjects; }
};

/// Not json{item...}: with a single item, compilers differ between a copy and a list.
template <typename... Items>
json ListOf(const Items&... items) {
  json list = json::array();
  (list.push_back(items), ...);
  return list;
}

/// The answer to one call of `operation`: records the call, waits and throws as scripted.
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
      ThrowIfScripted();
    }
  }

  /// The return value; `otherwise` when the script has none.
  template <typename T>
  T Returns(T otherwise) const {
    ReadMembers(answer_, "returns", otherwise);
    return otherwise;
  }
  /// Whether the script has null as the return value.
  bool ReturnsNull() const { return answer_.contains("returns") && answer_["returns"].is_null(); }

  /// Whether the script has this output.
  bool HasOutput(const char* name) const { return out().contains(name); }
  /// Writes the outputs that the script has, by name; then throws if the script says so.
  template <typename... Outputs>
  const Answer& Out(Outputs&&... outputs) const {
    ReadMembers(out(), std::forward<Outputs>(outputs)...);
    ThrowIfScripted();
    return *this;
  }
  /// The elements of an output that is a list; empty when the script does not have it.
  json List(const char* name) const { return out().value(name, json::array()); }
  /// The output `name` as a text allocated with malloc, or null.
  char* NewText(const char* name) const;

 private:
  /// Records a call and returns its answer.
  static json RecordCall(const char* operation, const json& arguments);
  static void RecordChange(const char* operation);
  /// Waits as scripted; whether the script has a wait.
  bool Wait(const char* operation) const;
  void ThrowIfScripted() const;
  json out() const { return answer_.value("out", json::object()); }

  json answer_;
};

/// Records the call of a destructor or of another function that must not throw; ends the process
/// if that fails.
template <typename... Arguments>
void RecordRelease(const char* operation, const Arguments&... arguments) noexcept {
  try {
    const Answer answer(operation, arguments...);
  } catch (...) {
    std::terminate();
  }
}

}  // namespace scripted
