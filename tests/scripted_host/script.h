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
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/quelt_util.h"
#include "platform/unicast.h"

namespace scripted {

using nlohmann::json;

/// The recorded form of an argument: a number, a flag, a text, the bytes of an identifier, an
/// address in its normal form; for another pointer, whether it is null.
json Recorded(const std::string& text);
json Recorded(const char* text);
json Recorded(const HostCtl::Quelt::QueltIpAddress& address);
json Recorded(const std::vector<std::string>& texts);
json Bytes(const void* bytes, std::size_t size);  // null for a null pointer
inline json Recorded(const json& composed) { return composed; }
template <typename T>
json Recorded(const T& argument) {
  if constexpr (std::is_arithmetic_v<T>) {
    return argument;
  } else if constexpr (std::is_pointer_v<T>) {
    return argument == nullptr;
  } else {
    return Bytes(&argument, sizeof argument);
  }
}

/// The bytes of a script's text.
std::string ToBytes(const json& text);

/// Reads a value of the script: a number, a text, the bytes of a buffer, an address, a structure by
/// the names of its fields, a map as a list of pairs.
void Read(const json& given, HostCtl::Quelt::QueltIpAddress& value);
void Read(const json& given, HostCtl::Quelt::KmsServerInfo& value);
void Read(const json& given, HostCtl::Quelt::QueltInfo::QueltUnicastAddressInfo& value);
template <typename T>
void Read(const json& given, T& value) {
  if constexpr (std::is_same_v<T, json>) {
    value = given;
  } else if constexpr (std::is_same_v<T, std::string>) {
    value = ToBytes(given);
  } else if constexpr (std::is_same_v<T, char*>) {
    value = given.is_null() ? nullptr : strdup(ToBytes(given).c_str());
  } else if constexpr (std::is_enum_v<T> || std::is_arithmetic_v<T>) {
    value = given.get<T>();
  } else if constexpr (requires { typename T::element_type; }) {
    value = nullptr;
    if (!given.is_null()) {
      value = std::make_shared<typename T::element_type>();
      Read(given, *value);
    }
  } else if constexpr (requires { typename T::mapped_type; }) {
    for (const json& item : given) {
      Read(item.at(1), value[ToBytes(item.at(0))]);
    }
  } else if constexpr (requires { value.emplace_back(); }) {
    for (const json& item : given) {
      Read(item, value.emplace_back());
    }
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

/// Exists during an operation: allocations of its thread do not fail meanwhile (allocations.cpp).
struct InsideOperation {
  InsideOperation();
  InsideOperation(const InsideOperation&) = delete;
  InsideOperation& operator=(const InsideOperation&) = delete;
  ~InsideOperation();
};

/// The answer to one call of `operation`: records the call, waits and throws as scripted.
class Answer : InsideOperation {
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
  T Returns(T otherwise = {}) const {
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
