#include "tests/scripted_host/script.h"

#include <dlfcn.h>
#include <pthread.h>
#include <unwind.h>

#include <chrono>
#include <exception>
#include <map>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "embedded_host/text/addresses.h"
#include "platform/exception.h"

namespace scripted {

namespace {

// Never destroyed: daemon threads may still use it at exit.
struct State {
  std::mutex mutex;
  std::map<std::string, std::vector<json>> answers;  // in reverse: the next one is the last
  std::map<std::string, json> records;
  const volatile long* counter = nullptr;

  void Record(const char* name, json entry) { records[name].push_back(std::move(entry)); }
};

State& GetState() {
  static State* const state = new State;
  return *state;
}

/// Whether this thread holds the GIL. The library is not linked with an interpreter, but loaded
/// into one.
bool IsGilHeld() {
  static const auto check = reinterpret_cast<int (*)()>(dlsym(RTLD_DEFAULT, "PyGILState_Check"));
  return check() != 0;
}

void WaitForCounter(const char* operation, double seconds) {
  State& state = GetState();
  const volatile long* const counter = state.counter;
  if (counter == nullptr) {
    throw std::logic_error("\"watch\" needs a counter");
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  const long enough = *counter + 100;
  while (*counter < enough && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (*counter >= enough) {
    const std::lock_guard lock(state.mutex);
    state.Record("moved", operation);
  }
}

/// Throws an exception of another language.
[[noreturn]] void ThrowForeign() {
  auto* const exception = new _Unwind_Exception{};
  exception->exception_cleanup = [](_Unwind_Reason_Code, _Unwind_Exception* caught) {
    delete caught;
  };
  _Unwind_RaiseException(exception);
  std::terminate();  // reached only if no frame catches it
}

template <typename Exception>
struct WithoutText final : Exception {
  WithoutText() : Exception("") {}
  const char* what() const noexcept override { return nullptr; }
};

/// Throws with the script's text; what() returns null if it is null.
template <typename Exception>
[[noreturn]] void ThrowWith(const json& text) {
  if (text.is_null()) {
    throw WithoutText<Exception>();
  }
  throw Exception(ToBytes(text));
}

[[noreturn]] void Throw(const json& thrown) {
  const std::string type = thrown.at("type");
  const json& text = thrown.at("text");
  if (type == "QueltCtlException") {
    ThrowWith<HostCtl::Lib::Quelt::QueltCtlException>(text);
  }
  if (type == "std::runtime_error") {
    ThrowWith<std::runtime_error>(text);
  }
  if (type == "std::bad_alloc") {
    throw std::bad_alloc();
  }
  if (type == "foreign") {
    ThrowForeign();
  }
  if (type == "end of the thread") {
    pthread_exit(PTHREAD_CANCELED);
  }
  throw 42;  // of no standard type
}

std::atomic<bool> secretMode = false;

}  // namespace

json Bytes(const void* bytes, std::size_t size) {
  if (secretMode || bytes == nullptr) {
    return {};
  }
  std::string utf8;
  for (const char c : std::string_view(static_cast<const char*>(bytes), size)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      utf8 += c;
    } else {
      utf8 += {static_cast<char>(0xC0 | (byte >> 6)), static_cast<char>(0x80 | (byte & 0x3F))};
    }
  }
  return utf8;
}

json Recorded(const std::string& text) { return Bytes(text.data(), text.size()); }
json Recorded(const char* text) { return text == nullptr ? json() : Bytes(text, strlen(text)); }
json Recorded(const HostCtl::Quelt::QueltIpAddress& address) {
  return Recorded(quelt::AddressText(address));
}
json Recorded(const std::vector<std::string>& texts) {
  json list = json::array();
  for (const std::string& text : texts) {
    list.push_back(Recorded(text));
  }
  return list;
}

std::string ToBytes(const json& text) {
  const std::string utf8 = text;
  const unsigned mask = secretMode ? 0xFF : 0;
  std::string bytes;
  bytes.reserve(utf8.size());
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    unsigned byte = static_cast<unsigned char>(utf8[i]);
    if (byte >= 0x80) {
      ++i;
      byte = (byte << 6) | (static_cast<unsigned char>(utf8.at(i)) & 0x3F);
    }
    bytes += static_cast<char>(byte ^ mask);
  }
  return bytes;
}

void Read(const json& given, HostCtl::Quelt::QueltIpAddress& value) {
  quelt::ParseAddress(ToBytes(given), value);
}

std::atomic<long> liveObjects = 0;

json Answer::RecordCall(const char* operation, const json& arguments) {
  State& state = GetState();
  const std::lock_guard lock(state.mutex);
  if (IsGilHeld()) {
    state.Record("held", operation);
  }
  state.Record("calls", {operation, arguments});
  const auto found = state.answers.find(operation);
  if (found == state.answers.end()) {
    return json::object();
  }
  std::vector<json>& answers = found->second;
  json answer = answers.back();
  if (answers.size() > 1) {
    answers.pop_back();
  }
  return answer;
}

void Answer::RecordChange(const char* operation) {
  State& state = GetState();
  const std::lock_guard lock(state.mutex);
  state.Record("changed", operation);
}

bool Answer::Wait(const char* operation) const {
  std::this_thread::sleep_for(std::chrono::duration<double>(answer_.value("delay", 0.0)));
  if (answer_.contains("watch")) {
    WaitForCounter(operation, answer_["watch"].get<double>());
  }
  return answer_.contains("delay") || answer_.contains("watch");
}

void Answer::ThrowIfScripted() const {
  if (answer_.contains("throws")) {
    Throw(answer_["throws"]);
  }
}

}  // namespace scripted

// Interface for the tests, through ctypes.
extern "C" {
#pragma GCC visibility push(default)

/// Sets the answers of one operation: a JSON array, used in order.
void scripted_host_answer(const char* operation, const char* answers) {
  scripted::State& state = scripted::GetState();
  auto list = scripted::json::parse(answers).get<std::vector<scripted::json>>();
  const std::lock_guard lock(state.mutex);
  state.answers[operation] = {list.rbegin(), list.rend()};
}

/// Removes all answers and records.
void scripted_host_reset() {
  scripted::State& state = scripted::GetState();
  const std::lock_guard lock(state.mutex);
  state.answers.clear();
  state.records.clear();
}

void scripted_host_set_secret_mode(bool keep) { scripted::secretMode = keep; }

/// The number of platform objects and sessions that are not released.
long scripted_host_live_objects() { return scripted::liveObjects; }

/// Sets the counter that "watch" waits for; another thread increments it.
void scripted_host_counter(const volatile long* counter) { scripted::GetState().counter = counter; }

/// A record as JSON, freed with free(): "calls", an array of [operation, [argument, ...]]; "held",
/// operations called with the GIL held; "moved", those during which the counter increased;
/// "changed", those whose arguments changed while they waited.
char* scripted_host_record(const char* name) {
  scripted::State& state = scripted::GetState();
  const std::lock_guard lock(state.mutex);
  const auto found = state.records.find(name);
  return strdup(found == state.records.end() ? "[]" : found->second.dump().c_str());
}

#pragma GCC visibility pop
}
