// Changes of the unicast membership: adding an agent, removing one, recording one in the
// configuration store.
#include <string>

#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/keyword_arguments.h"
#include "unicast/agent_arguments.h"
#include "unicast/functions.h"
#include "unicast/message_text.h"

namespace pyquelt {

using HostCtl::Quelt::HostSystem;

namespace {

/// The platform takes an optional text that is not given as an empty one.
std::string TextOrEmpty(const char* text) { return text == nullptr ? "" : text; }

PyObject* AddUnicastAgent(KeywordArguments& arguments) {
  AgentArguments agent;
  if (!agent.Parse(arguments)) {
    return nullptr;
  }
  const auto prefix = [&] { return ChangeFailureText("add", agent); };
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
  const auto prefix = [&] { return ChangeFailureText("update", agent); };
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
  RemovalArguments removal;
  if (!removal.Parse(arguments)) {
    return nullptr;
  }
  const auto prefix = [&] { return RemovalFailureText(removal); };
  return CallPlatform(
      OnCtlException(PyExc_RuntimeError, prefix),
      [&] {
        WithHostSystem([&](HostSystem& system) {
          system.RemoveUnicastAgentEntry(removal.uuid, removal.target.address, removal.target.port,
                                         removal.target.nodeType, removal.replaceWitness, "");
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
