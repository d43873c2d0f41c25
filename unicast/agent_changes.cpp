// Changes of the unicast membership: adding an agent, removing one, recording one in the
// configuration store.
#include <string>

#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/keyword_arguments.h"
#include "unicast/functions.h"
#include "unicast/message_text.h"
#include "unicast/target.h"

namespace pyquelt {

using HostCtl::Quelt::HostSystem;

namespace {

/// An optional text as the platform takes it, and as messages show it.
std::string TextOrEmpty(const char* text) { return text == nullptr ? "" : text; }
std::string TextOrNone(const char* text) { return text == nullptr ? "None" : text; }

/// The arguments of the two functions that describe an agent in full. Texts are borrowed from the
/// call's arguments.
struct AgentArguments {
  const char* addr = nullptr;
  const char* uuid = kDefaultUnicastUuid;
  const char* type = "witness";
  bool isSupportUnicast = false;
  const char* interface = nullptr;
  const char* hostname = nullptr;
  const char* thumbprint = nullptr;
  const char* subClusterUuid = nullptr;
  UnicastAgentTarget target;

  /// False with a Python exception set. Lock held.
  bool Parse(KeywordArguments& arguments);
  /// "Failed to <action> unicast agent (...): ".
  std::string FailureText(const char* action) const;
};

bool AgentArguments::Parse(KeywordArguments& arguments) {
  static const char* const kNames[] = {
      "addr",      "uuid",     "type",       "isSupportUnicast", "port",
      "interface", "hostname", "thumbprint", "subclusterUuid",   nullptr};
  PyObject* supportObject = nullptr;
  PyObject* portObject = nullptr;
  if (!arguments.Parse("s|zzOOzzzz", kNames, &addr, &uuid, &type, &supportObject, &portObject,
                       &interface, &hostname, &thumbprint, &subClusterUuid) ||
      uuid == nullptr || type == nullptr) {
    Raise(PyExc_RuntimeError, "Failed to extract parameters");
    return false;
  }
  isSupportUnicast = IsTrueItself(supportObject);
  return ParseUnicastAgentTarget(type, addr, portObject, target);
}

std::string AgentArguments::FailureText(const char* action) const {
  std::string text = std::string("Failed to ") + action + " unicast agent (uuid: " + uuid;
  text += std::string(" type: ") + type;
  text += std::string(" isSupportUnicast: ") + FlagText(isSupportUnicast);
  text += std::string(" addr: ") + addr;
  text += " port: " + std::to_string(target.port);
  text += " interface: " + TextOrNone(interface);
  text += " hostname: " + TextOrNone(hostname);
  text += " thumbprint: " + TextOrNone(thumbprint);
  text += " subClusterUuid: " + TextOrNone(subClusterUuid);
  return text + "): ";
}

PyObject* AddUnicastAgent(KeywordArguments& arguments) {
  AgentArguments agent;
  if (!agent.Parse(arguments)) {
    return nullptr;
  }
  const auto prefix = [&] { return agent.FailureText("add"); };
  return CallPlatform(
      OnCtlException(PyExc_RuntimeError, prefix),
      [&] {
        WithHostSystem([&](HostSystem& system) {
          system.AddUnicastAgentEntry(agent.uuid, agent.target.nodeType, agent.isSupportUnicast,
                                      agent.target.address, agent.target.port,
                                      agent.interface != nullptr, TextOrEmpty(agent.interface),
                                      TextOrEmpty(agent.hostname), TextOrEmpty(agent.thumbprint),
                                      TextOrEmpty(agent.subClusterUuid));
        });
      },
      [] { return NewNone(); });
}

PyObject* SetUnicastInfoInConfigStore(KeywordArguments& arguments) {
  AgentArguments agent;
  if (!agent.Parse(arguments)) {
    return nullptr;
  }
  const auto prefix = [&] { return agent.FailureText("update"); };
  return CallPlatform(
      OnCtlException(PyExc_RuntimeError, prefix),
      [&] {
        WithHostSystem([&](HostSystem& system) {
          system.SetUnicastAgentInConfigStore(
              agent.uuid, agent.target.nodeType, agent.isSupportUnicast, agent.target.address,
              agent.target.port, TextOrEmpty(agent.interface), TextOrEmpty(agent.hostname),
              TextOrEmpty(agent.thumbprint), TextOrEmpty(agent.subClusterUuid));
        });
      },
      [] { return NewNone(); });
}

PyObject* RemoveUnicastAgent(KeywordArguments& arguments) {
  static const char* const kNames[] = {"addr", "uuid", "port", "type", "replaceWitness", nullptr};
  UnicastAgentTarget target;
  const char* addr = nullptr;
  const char* uuid = kDefaultUnicastUuid;
  PyObject* portObject = nullptr;
  const char* type = "node";
  PyObject* replaceObject = nullptr;
  if (!arguments.Parse("s|zOzO", kNames, &addr, &uuid, &portObject, &type, &replaceObject) ||
      uuid == nullptr || type == nullptr) {
    return Raise(PyExc_RuntimeError, "Failed to extract parameters");
  }
  if (!ParseUnicastAgentTarget(type, addr, portObject, target)) {
    return nullptr;
  }
  const bool replaceWitness = IsTrueItself(replaceObject);
  const auto prefix = [&] {
    return std::string("Failed to remove unicast agent (uuid: ") + uuid + " addr: " + addr +
           " port: " + std::to_string(target.port) +
           " nodeType: " + std::to_string(target.nodeType) +
           " replaceWitness: " + FlagText(replaceWitness) + "): ";
  };
  return CallPlatform(
      OnCtlException(PyExc_RuntimeError, prefix),
      [&] {
        WithHostSystem([&](HostSystem& system) {
          system.RemoveUnicastAgentEntry(uuid, target.address, target.port, target.nodeType,
                                         replaceWitness, "");
        });
      },
      [] { return NewNone(); });
}

}  // namespace

PyObject* PyAddUnicastAgent(PyObject*, PyObject* args, PyObject* keywords) {
  return CallWithKeywords(args, keywords, &AddUnicastAgent);
}

PyObject* PySetUnicastInfoInConfigStore(PyObject*, PyObject* args, PyObject* keywords) {
  return CallWithKeywords(args, keywords, &SetUnicastInfoInConfigStore);
}

PyObject* PyRemoveUnicastAgent(PyObject*, PyObject* args, PyObject* keywords) {
  return CallWithKeywords(args, keywords, &RemoveUnicastAgent);
}

}  // namespace pyquelt
