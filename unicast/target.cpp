#include "unicast/target.h"

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
  std::string digits;
  if (DecimalText(object, digits)) {
    Raise(PyExc_RuntimeError, "Invalid port specified: " + digits);
  }
  return false;
}

}  // namespace

bool ParseUnicastAgentTarget(const char* type, const char* address, PyObject* port,
                             UnicastAgentTarget& target) {
  bool parsed = false;
  // Two quick platform calls, which may throw, and the texts of refusals.
  const bool answered = RunUnderLock(kOnNoException, [&] {
    parsed = ParseType(type, target.nodeType) && ParseAddress(address, target.address) &&
             ParsePort(port, target.port);
  });
  return answered && parsed;
}

}  // namespace pyquelt
