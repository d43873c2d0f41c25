#include "unicast/message_text.h"

#include "module/py_ref.h"

namespace pyquelt {

using HostCtl::Quelt::UnicastNodeType;
using HostCtl::Quelt::QueltInfo::QueltUnicastAddressInfo;

namespace {

const char* FlagText(bool flag) { return flag ? "1" : "0"; }

std::string TextOrNone(const char* text) { return text == nullptr ? "None" : text; }

const char* ListingText(UnicastNodeType type) {
  switch (type) {
    case UnicastNodeType::kNormal:
      return "normal node";
    case UnicastNodeType::kWitness:
      return "witness node";
    case UnicastNodeType::kMetadata:
      return "metadata node";
    default:
      return "invalide node type";
  }
}

}  // namespace

std::string AgentDescription(const QueltUnicastAddressInfo& agent, bool showsNodeType) {
  std::string text = " uuid: " + agent.uuid;
  if (showsNodeType) {
    text += std::string(" nodeType: ") + ListingText(agent.nodeType);
  } else {
    text += std::string(" isWitness: ") + FlagText(agent.nodeType == UnicastNodeType::kWitness);
  }
  text += std::string(" isSupportUnicast: ") + FlagText(agent.isSupportUnicast);
  text += " address: " + agent.address;
  text += " port: " + std::to_string(agent.port);
  text += " zelnic: " + agent.zelnic;
  text += " hostname: " + agent.hostname;
  text += " thumbprint: " + agent.thumbprint;
  text += " subClusterUuid: " + agent.subClusterUuid;
  return text;
}

std::string ChangeFailureText(const char* verb, const AgentArguments& agent) {
  std::string text = std::string("Failed to ") + verb + " unicast agent (uuid: " + agent.uuid;
  text += std::string(" type: ") + agent.type;
  text += std::string(" isSupportUnicast: ") + FlagText(agent.isSupportUnicast);
  text += std::string(" addr: ") + agent.addr;
  text += " port: " + std::to_string(agent.target.port);
  text += " interface: " + TextOrNone(agent.interface);
  text += " hostname: " + TextOrNone(agent.hostname);
  text += " thumbprint: " + TextOrNone(agent.thumbprint);
  text += " subClusterUuid: " + TextOrNone(agent.subClusterUuid);
  return text + "): ";
}

std::string RemovalFailureText(const RemovalArguments& removal) {
  std::string text = std::string("Failed to remove unicast agent (uuid: ") + removal.uuid;
  text += std::string(" addr: ") + removal.addr;
  text += " port: " + std::to_string(removal.target.port);
  text += " nodeType: " + std::to_string(removal.target.nodeType);
  text += std::string(" replaceWitness: ") + FlagText(removal.replaceWitness);
  return text + "): ";
}

namespace {

/// The most decimal digits that a message shows. A number of more than kMaxBits has more digits.
constexpr std::size_t kMaxDigits = 4300;
constexpr long kMaxBits = 14285;

/// The number of bits of the int `number`, by int's own method; -1 with an error set.
long BitLength(PyObject* number) {
  PyObject* const type = reinterpret_cast<PyObject*>(&PyLong_Type);
  const PyRef name(PyUnicode_InternFromString("bit_length"));
  const PyRef method(name ? PyObject_GetAttr(type, name.get()) : nullptr);
  const PyRef args(method ? Py_BuildValue("(O)", number) : nullptr);
  const PyRef bits(args ? PyObject_CallObject(method.get(), args.get()) : nullptr);
  return bits ? PyLong_AsLong(bits.get()) : -1;
}

}  // namespace

bool IntegerText(PyObject* number, std::string& text) {
  const long bits = BitLength(number);
  if (bits < 0) {
    return false;
  }
  if (bits <= kMaxBits) {
    const PyRef decimal(PyNumber_ToBase(number, 10));
    const char* const digits = decimal ? PyUnicode_AsUTF8(decimal.get()) : nullptr;
    if (digits != nullptr) {
      text = digits;
    } else if (PyErr_ExceptionMatches(PyExc_ValueError) == 0) {
      return false;
    }
  }
  if (text.empty() || text.size() > kMaxDigits + (text.front() == '-' ? 1 : 0)) {
    text = "(an integer of " + std::to_string(bits) + " bits)";
  }
  return true;
}

}  // namespace pyquelt
