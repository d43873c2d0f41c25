#include "unicast/agent_arguments.h"

#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "module/call_frame.h"
#include "platform/quelt_util.h"
#include "unicast/message_text.h"

namespace pyquelt {

using HostCtl::Quelt::UnicastNodeType;
using ZelCtl::Quelt::QueltUtil;

namespace {

std::optional<UnicastNodeType> FindNodeType(std::string_view word) {
  if (word == "node") {
    return UnicastNodeType::kNormal;
  }
  if (word == "witness") {
    return UnicastNodeType::kWitness;
  }
  if (word == "metadata") {
    return UnicastNodeType::kMetadata;
  }
  if (QueltUtil::IsQueltCSDFeatureEnabled() && word == "remote") {
    return UnicastNodeType::kRemote;
  }
  return std::nullopt;
}

bool ParseType(const char* word, std::int32_t& nodeType) {
  const std::optional<UnicastNodeType> found = FindNodeType(word);
  if (!found) {
    Raise(PyExc_RuntimeError, std::string("Invalid type specified: ") + word);
    return false;
  }
  nodeType = static_cast<std::int32_t>(*found);
  return true;
}

bool ParseAddress(const char* text, HostCtl::Quelt::QueltIpAddress& address) {
  if (!QueltUtil::BuildQueltIPAddress(text, address)) {
    Raise(PyExc_RuntimeError, std::string("Invalid address specified: ") + text);
    return false;
  }
  return true;
}

bool ParsePort(PyObject* object, std::int32_t& port) {
  if (object == nullptr || !PyLong_Check(object)) {
    return true;
  }
  int overflow = 0;
  const long value = PyLong_AsLongAndOverflow(object, &overflow);
  if (value == -1 && PyErr_Occurred() != nullptr) {
    return false;
  }
  using Limits = std::numeric_limits<std::int32_t>;
  if (overflow == 0 && value >= Limits::min() && value <= Limits::max()) {
    port = static_cast<std::int32_t>(value);
    return true;
  }
  std::string text;
  if (IntegerText(object, text)) {
    Raise(PyExc_RuntimeError, "Invalid port specified: " + text);
  }
  return false;
}

/// Checks a type word, an address text and a port object (borrowed, may be null), in this order,
/// and fills `target`; a port that is not an int keeps the default. False with an error set.
bool ParseTarget(const char* type, const char* address, PyObject* port, AgentTarget& target) {
  bool parsed = false;
  // The two platform calls and the composed messages may throw.
  const bool completed = RunWithGil(kOnNoException, [&] {
    parsed = ParseType(type, target.nodeType) && ParseAddress(address, target.address) &&
             ParsePort(port, target.port);
  });
  return completed && parsed;
}

/// True only for the object True itself. `object` is borrowed and may be null.
bool IsTrueObject(const PyObject* object) { return object == Py_True; }

bool RaiseNotParsed() {
  Raise(PyExc_RuntimeError, "Failed to extract parameters");
  return false;
}

}  // namespace

bool AgentArguments::Parse(KeywordArguments& arguments) {
  static const char* const kNames[] = {
      "addr",      "uuid",     "type",       "isSupportUnicast", "port",
      "interface", "hostname", "thumbprint", "subclusterUuid",   nullptr};
  PyObject* supportObject = nullptr;
  PyObject* portObject = nullptr;
  if (!arguments.Parse("s|zzOOzzzz", kNames, &addr, &uuid, &type, &supportObject, &portObject,
                       &interface, &hostname, &thumbprint, &subClusterUuid) ||
      uuid == nullptr || type == nullptr) {
    return RaiseNotParsed();
  }
  isSupportUnicast = IsTrueObject(supportObject);
  return ParseTarget(type, addr, portObject, target);
}

bool RemovalArguments::Parse(KeywordArguments& arguments) {
  static const char* const kNames[] = {"addr", "uuid", "port", "type", "replaceWitness", nullptr};
  PyObject* portObject = nullptr;
  PyObject* replaceObject = nullptr;
  if (!arguments.Parse("s|zOzO", kNames, &addr, &uuid, &portObject, &type, &replaceObject) ||
      uuid == nullptr || type == nullptr) {
    return RaiseNotParsed();
  }
  replaceWitness = IsTrueObject(replaceObject);
  return ParseTarget(type, addr, portObject, target);
}

}  // namespace pyquelt
