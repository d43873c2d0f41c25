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

// Never destroyed: at exit, daemon threads may still be inside.
struct State {
  std::mutex mutex;
  std::map<std::string, std::vector<json>> answers;  // the one to use next stands last
  std::map<std::string, json> records;
  const volatile long* counter = nullptr;

  void Record(const char* name, json entry) { records[name].push_back(std::move(entry)); }
};

State& TheState() {
  static State* const state = new State;
  return *state;
}

/// Whether this thread holds the interpreter lock: the library knows no interpreter, but is loaded
/// into one.
bool InterpreterLockHeld() {
  static const auto check = reinterpret_cast<int (*)()>(dlsym(RTLD_DEFAULT, "PyGILState_Check"));
  return check() != 0;
}

void Watch(const char* operation, double seconds) {
  State& state = TheState();
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  const long enough = *state.counter + 100;
  while (*state.counter < enough && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (*state.counter >= enough) {
    const std::lock_guard lock(state.mutex);
    state.Record("moved", operation);
  }
}

/// What another language throws through C++.
[[noreturn]] void ThrowForeign() {
  auto* const exception = new _Unwind_Exception{};
  exception->exception_cleanup = [](_Unwind_Reason_Code, _Unwind_Exception* caught) {
    delete caught;
  };
  _Unwind_RaiseException(exception);
  std::terminate();  // nobody catches it
}

template <typename Exception>
struct WithoutText final : Exception {
  WithoutText() : Exception("") {}
  const char* what() const noexcept override { return nullptr; }
};

/// Throws with the script's text; null means none.
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

std::atomic<bool> keepsSecrets = false;

}  // namespace

json Bytes(const void* bytes, std::size_t size) {
  if (keepsSecrets) {
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
  const unsigned turned = keepsSecrets ? 0xFF : 0;
  std::string bytes;
  bytes.reserve(utf8.size());
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    unsigned byte = static_cast<unsigned char>(utf8[i]);
    if (byte >= 0x80) {
      ++i;
      byte = (byte << 6) | (static_cast<unsigned char>(utf8.at(i)) & 0x3F);
    }
    bytes += static_cast<char>(byte ^ turned);
  }
  return bytes;
}

std::atomic<long> handedOut = 0;

json Answer::RecordCall(const char* operation, const json& arguments) {
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  if (InterpreterLockHeld()) {
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
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  state.Record("changed", operation);
}

bool Answer::Wait(const char* operation) const {
  std::this_thread::sleep_for(std::chrono::duration<double>(answer_.value("delay", 0.0)));
  if (answer_.contains("watch")) {
    Watch(operation, answer_["watch"].get<double>());
  }
  return answer_.contains("delay") || answer_.contains("watch");
}

void Answer::ThrowIfToldTo() const {
  if (answer_.contains("throws")) {
    Throw(answer_["throws"]);
  }
}

char* Answer::NewText(const char* name) const {
  return Gives(name) ? strdup(ToBytes(out()[name]).c_str()) : nullptr;
}

}  // namespace scripted

// What the tests call, through ctypes.
extern "C" {
#pragma GCC visibility push(default)

/// Sets the answers of one operation: a JSON array, used in order.
void scripted_host_answer(const char* operation, const char* answers) {
  scripted::State& state = scripted::TheState();
  auto list = scripted::json::parse(answers).get<std::vector<scripted::json>>();
  const std::lock_guard lock(state.mutex);
  state.answers[operation] = {list.rbegin(), list.rend()};
}

/// Forgets all answers and records.
void scripted_host_reset() {
  scripted::State& state = scripted::TheState();
  const std::lock_guard lock(state.mutex);
  state.answers.clear();
  state.records.clear();
}

void scripted_host_keep_secrets(bool keep) { scripted::keepsSecrets = keep; }

/// How many platform objects and sessions are handed out and not given back.
long scripted_host_handed_out() { return scripted::handedOut; }

/// Sets the counter that "watch" looks at; another thread counts it up.
void scripted_host_counter(const volatile long* counter) { scripted::TheState().counter = counter; }

/// A record so far, as JSON, released with free(): "calls", an array of [operation, [argument,
/// ...]]; "held", "moved" and "changed", operations that were called with the interpreter
/// lock held, during which the counter moved, and whose arguments changed while they waited.
char* scripted_host_record(const char* name) {
  scripted::State& state = scripted::TheState();
  const std::lock_guard lock(state.mutex);
  const auto found = state.records.find(name);
  return strdup(found == state.records.end() ? "[]" : found->second.dump().c_str());
}

#pragma GCC visibility pop
}
