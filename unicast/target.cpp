#include "unicast/target.h"

#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "module/call_frame.h"
#include "module/py_ref.h"
#include "platform/quelt_util.h"

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

/// A message shows a number of at most this many decimal digits; one with more bits has more.
constexpr std::size_t kMostDigits = 4300;
constexpr long kMostBits = 14285;

/// The number of bits of the int `number`, by int's own method; -1 with a Python exception set.
long BitLength(PyObject* number) {
  PyObject* const type = reinterpret_cast<PyObject*>(&PyLong_Type);
  const PyRef name(PyUnicode_InternFromString("bit_length"));
  const PyRef method(name ? PyObject_GetAttr(type, name.get()) : nullptr);
  const PyRef args(method ? Py_BuildValue("(O)", number) : nullptr);
  const PyRef bits(args ? PyObject_CallObject(method.get(), args.get()) : nullptr);
  return bits ? PyLong_AsLong(bits.get()) : -1;
}

/// Writes the int `number` in decimal, as int itself formats it. That takes quadratic time: the
/// number of bits replaces more digits, and digits that exceed a lower limit of the interpreter's.
/// False with a Python exception set.
bool IntegerText(PyObject* number, std::string& text) {
  const long bits = BitLength(number);
  if (bits < 0) {
    return false;
  }
  if (bits <= kMostBits) {
    const PyRef decimal(PyNumber_ToBase(number, 10));
    const char* const digits = decimal ? PyUnicode_AsUTF8(decimal.get()) : nullptr;
    if (digits != nullptr) {
      text = digits;
    } else if (PyErr_ExceptionMatches(PyExc_ValueError) == 0) {
      return false;
    }
  }
  if (text.empty() || text.size() > kMostDigits + (text.front() == '-' ? 1 : 0)) {
    text = "(an integer of " + std::to_string(bits) + " bits)";
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
