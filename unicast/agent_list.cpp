// Listing the unicast agents.
#include <string>
#include <vector>

#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/keyword_arguments.h"
#include "module/py_ref.h"
#include "module/result_dict.h"
#include "module/result_helpers.h"
#include "platform/quelt_util.h"
#include "platform/unicast.h"
#include "unicast/functions.h"
#include "unicast/message_text.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using HostCtl::Quelt::HostSystem;
using HostCtl::Quelt::UnicastNodeType;
using HostCtl::Quelt::QueltInfo::QueltUnicastAddressInfo;
using ZelCtl::Quelt::QueltUtil;

namespace {

/// The failure of a result: the text of the step that failed and the agent.
struct ListingFailure {
  const QueltUnicastAddressInfo& agent;
  bool showsNodeType;
  [[noreturn]] void Throw(const std::string& text) const {
    throw QueltCtlException(text + AgentDescription(agent, showsNodeType));
  }
};

void SetFields(ResultDict& item, const QueltUnicastAddressInfo& agent) {
  if (QueltUtil::IsQueltMetadataNodeFeatureEnabled()) {
    item.Set<"nodeType">(static_cast<long>(agent.nodeType));
  } else {
    item.Set<"isWitness">(agent.nodeType == UnicastNodeType::kWitness);
  }
  item.Set<"isSupportUnicast">(agent.isSupportUnicast);
  item.Set<"address">(agent.address);
  item.Set<"port">(agent.port);
  item.Set<"zelnic">(agent.zelnic);
  item.Set<"hostname">(agent.hostname);
  item.Set<"thumbprint">(agent.thumbprint);
  item.Set<"subClusterUuid">(agent.subClusterUuid);
}

/// Adds an agent to `result`, a dictionary of lists by UUID. `position` counts agents from 0.
/// Throws QueltCtlException. A call may list hundreds of thousands of agents: a description is
/// composed only for a failure.
void AddAgent(PyObject* result, const QueltUnicastAddressInfo& agent, std::size_t position) {
  // The feature may change at any time. It is read here for a failure's text and again in
  // SetFields for the result.
  const ListingFailure failure{agent, QueltUtil::IsQueltMetadataNodeFeatureEnabled()};

  // A UUID that can't become a key is reported where the list is stored under it, so that a
  // failing field of the same agent is reported first.
  PyRef key(PyUnicode_FromString(agent.uuid.c_str()));
  PyObject* found = nullptr;
  if (!key || !FindItem(result, key.get(), found)) {
    PyErr_Clear();
    key = PyRef();  // the lookup failed: never replace a list that may exist
  }
  // Owned: a callback of the garbage collector may remove it from the result.
  const PyRef list(found != nullptr ? found : PyList_New(0));
  if (!list) {
    failure.Throw("Failed to allocate python list for:");
  }
  ResultDict item({nullptr, kValueNotInserted, kValueNotConverted, true});
  if (item.get() == nullptr) {
    failure.Throw("Failed to allocate python dict object " + std::to_string(position) + " for:");
  }
  SetFields(item, agent);
  if (item.failed()) {
    failure.Throw(item.FailureText());
  }
  const PyRef filled(item.Release());
  if (PyList_Append(list.get(), filled.get()) != 0) {
    failure.Throw("Failed to append list item for:");
  }
  if (!key || PyDict_SetItem(result, key.get(), list.get()) != 0) {
    failure.Throw("Failed to set python list for:");
  }
}

PyObject* NewAgentsByUuid(const std::vector<QueltUnicastAddressInfo>& agents) {
  PyRef result(PyDict_New());
  if (!result) {
    return Raise(PyExc_ValueError, "Failed to create result list");
  }
  // Each garbage collection would traverse the growing result: a fifth of a long listing's time.
  const CollectorPause pause;
  for (std::size_t position = 0; position < agents.size(); ++position) {
    AddAgent(result.get(), agents[position], position);
  }
  return result.release();
}

PyObject* GetUnicastAgents(KeywordArguments& arguments) {
  static const char* const kNames[] = {"includeExtra", nullptr};
  int includeExtra = 0;
  if (!arguments.Parse("|p", kNames, &includeExtra)) {
    return Raise(PyExc_RuntimeError, "Failed to extract parameters for PyGetUnicastAgents");
  }
  std::vector<QueltUnicastAddressInfo> agents;
  return CallPlatform(
      OnCtlException(PyExc_RuntimeError, "Failed to get unicast agents from ulo: "),
      [&] {
        WithHostSystem(
            [&](HostSystem& system) { system.GetUnicastAgentList(agents, includeExtra != 0); });
      },
      [&] { return NewAgentsByUuid(agents); });
}

}  // namespace

PyObject* PyGetUnicastAgents(PyObject*, PyObject* args, PyObject* keywords) {
  return CallWithKeywords(args, keywords, &GetUnicastAgents);
}

}  // namespace pyquelt
