#include "tests/scripted_host/script.h"

#include <dlfcn.h>
#include <pthread.h>
#include <unwind.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/exception.h"

namespace scripted {

namespace {

// Never destroyed: at exit, daemon threads may still be inside.
struct State {
  std::mutex mutex;
  std::map<std::string, std::vector<json>> answers;  // the one to use next stands last
  json calls = json::array();
  json held = json::array();   // operations that were called with the interpreter lock held
  json moved = json::array();  // operations during which the test's counter moved
  const volatile long* counter = nullptr;
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

json RecordAndTake(const char* operation, json arguments) {
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  if (InterpreterLockHeld()) {
    state.held.push_back(operation);
  }
  state.calls.push_back({operation, std::move(arguments)});
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

void Watch(const char* operation, double seconds) {
  State& state = TheState();
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  const long enough = *state.counter + 100;
  while (*state.counter < enough && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (*state.counter >= enough) {
    const std::lock_guard lock(state.mutex);
    state.moved.push_back(operation);
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

[[noreturn]] void Throw(const json& thrown) {
  const std::string type = thrown.at("type");
  const std::string text = ToBytes(thrown.value("text", ""));
  if (type == "QueltCtlException") {
    throw HostCtl::Lib::Quelt::QueltCtlException(text);
  }
  if (type == "std::runtime_error") {
    throw std::runtime_error(text);
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

char* NewText(const std::string& text) { return strdup(text.c_str()); }

}  // namespace

json ToJson(const void* bytes, std::size_t size) {
  if (keepsSecrets) {
    return {};
  }
  std::string utf8;
  for (const char c : std::string_view(static_cast<const char*>(bytes), size)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      utf8 += c;
    } else {
      utf8 += static_cast<char>(0xC0 | (byte >> 6));
      utf8 += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return utf8;
}

json ToJson(const std::string& bytes) { return ToJson(bytes.data(), bytes.size()); }
json ToJson(const char* text) { return text == nullptr ? json() : ToJson(text, std::strlen(text)); }

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

Answer::Answer(const char* operation, json arguments)
    : answer_(RecordAndTake(operation, std::move(arguments))) {
  if (answer_.contains("delay")) {
    std::this_thread::sleep_for(std::chrono::duration<double>(answer_["delay"].get<double>()));
  }
  if (answer_.contains("watch")) {
    Watch(operation, answer_["watch"].get<double>());
  }
  if (answer_.contains("throws")) {
    Throw(answer_["throws"]);
  }
}

const json* Answer::FindOut(const char* name) const {
  const auto out = answer_.find("out");
  if (out == answer_.end() || !out->contains(name)) {
    return nullptr;
  }
  return &(*out)[name];
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

/// Forgets all answers and calls.
void scripted_host_reset() {
  scripted::State& state = scripted::TheState();
  const std::lock_guard lock(state.mutex);
  state.answers.clear();
  state.calls = scripted::json::array();
  state.held = scripted::json::array();
  state.moved = scripted::json::array();
}

void scripted_host_keep_secrets(bool keep) { scripted::keepsSecrets = keep; }

/// How many platform objects and sessions are handed out and not given back.
long scripted_host_handed_out() { return scripted::handedOut; }

/// Sets the counter that "watch" looks at; another thread counts it up.
void scripted_host_counter(const volatile long* counter) { scripted::TheState().counter = counter; }

/// A record so far, as JSON, released with free(): "calls", an array of [operation, [argument,
/// ...]]; "held" and "moved", operations that were called with the interpreter lock held, and
/// operations during which the counter moved.
char* scripted_host_record(const char* name) {
  scripted::State& state = scripted::TheState();
  const std::lock_guard lock(state.mutex);
  const std::string wanted = name;
  const scripted::json& record =
      wanted == "calls" ? state.calls : (wanted == "held" ? state.held : state.moved);
  return scripted::NewText(record.dump());
}

#pragma GCC visibility pop
}
