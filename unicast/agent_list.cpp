// The listing of the unicast agents.
#include <string>
#include <vector>

#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/keyword_arguments.h"
#include "module/py_ref.h"
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

bool IsWitness(const QueltUnicastAddressInfo& agent) {
  return agent.nodeType == UnicastNodeType::kWitness;
}

/// The agent in one line, for failure messages only.
std::string Describe(const QueltUnicastAddressInfo& agent, bool showsNodeType) {
  std::string text = " uuid: " + agent.uuid;
  text += showsNodeType ? std::string(" nodeType: ") + ListingText(agent.nodeType)
                        : std::string(" isWitness: ") + FlagText(IsWitness(agent));
  text += std::string(" isSupportUnicast: ") + FlagText(agent.isSupportUnicast);
  text += " address: " + agent.address;
  text += " port: " + std::to_string(agent.port);
  text += " zelnic: " + agent.zelnic;
  text += " hostname: " + agent.hostname;
  text += " thumbprint: " + agent.thumbprint;
  text += " subClusterUuid: " + agent.subClusterUuid;
  return text;
}

/// Turns agents into the result of one call. Lock held; throws QueltCtlException.
///
/// A call may list hundreds of thousands of agents, so nothing is made per agent that can be made
/// once (the keys) or that only a failure needs (the description).
class AgentListing {
 public:
  /// Adds an agent to `result`, a dictionary of lists by UUID. `position` is its place in the list.
  void Add(PyObject* result, const QueltUnicastAddressInfo& agent, std::size_t position) {
    // The feature is asked for anew each time: the host may switch it at any moment, and the
    // description goes with the moment before the agent is touched.
    const Failure failure{agent, QueltUtil::IsQueltMetadataNodeFeatureEnabled()};

    // A UUID that is no text can't be found, and is refused where the list is to be stored under
    // it: a failing field of the same agent comes first.
    PyRef key(PyUnicode_FromString(agent.uuid.c_str()));
    PyObject* const found = key ? PyDict_GetItemWithError(result, key.get()) : nullptr;
    if (found == nullptr && PyErr_Occurred() != nullptr) {
      PyErr_Clear();
      key = PyRef();  // what may stand there already is not replaced
    }
    // Own the list: where collections run meanwhile, their callbacks may remove it from the result.
    Py_XINCREF(found);
    const PyRef list(found != nullptr ? found : PyList_New(0));
    if (!list) {
      failure.Throw("Failed to allocate python list for:");
    }
    const PyRef item(PyDict_New());
    if (!item) {
      failure.Throw("Failed to allocate python dict object " + std::to_string(position) + " for:");
    }
    SetFields(item.get(), agent, failure);
    if (PyList_Append(list.get(), item.get()) != 0) {
      failure.Throw("Failed to append list item for:");
    }
    if (!key || PyDict_SetItem(result, key.get(), list.get()) != 0) {
      failure.Throw("Failed to set python list for:");
    }
  }

 private:
  struct Failure {
    const QueltUnicastAddressInfo& agent;
    bool showsNodeType;
    [[noreturn]] void Throw(const std::string& text) const {
      throw QueltCtlException(text + Describe(agent, showsNodeType));
    }
  };

  template <typename T>
  static void Set(PyObject* item, DictKey& key, T value, const Failure& failure) {
    std::string error;
    if (!PySetDictValue<T>(item, key, value, error)) {
      failure.Throw(error);
    }
  }
  static void Set(PyObject* item, DictKey& key, const std::string& text, const Failure& failure) {
    Set(item, key, text.c_str(), failure);
  }

  void SetFields(PyObject* item, const QueltUnicastAddressInfo& agent, const Failure& failure) {
    if (QueltUtil::IsQueltMetadataNodeFeatureEnabled()) {
      Set(item, nodeType_, static_cast<long>(agent.nodeType), failure);
    } else {
      Set(item, isWitness_, IsWitness(agent), failure);
    }
    Set(item, isSupportUnicast_, agent.isSupportUnicast, failure);
    Set(item, address_, agent.address, failure);
    Set(item, port_, static_cast<long>(agent.port), failure);
    Set(item, zelnic_, agent.zelnic, failure);
    Set(item, hostname_, agent.hostname, failure);
    Set(item, thumbprint_, agent.thumbprint, failure);
    Set(item, subClusterUuid_, agent.subClusterUuid, failure);
  }

  DictKey nodeType_{"nodeType"};
  DictKey isWitness_{"isWitness"};
  DictKey isSupportUnicast_{"isSupportUnicast"};
  DictKey address_{"address"};
  DictKey port_{"port"};
  DictKey zelnic_{"zelnic"};
  DictKey hostname_{"hostname"};
  DictKey thumbprint_{"thumbprint"};
  DictKey subClusterUuid_{"subClusterUuid"};
};

PyObject* NewAgentsByUuid(const std::vector<QueltUnicastAddressInfo>& agents) {
  PyRef result(PyDict_New());
  if (!result) {
    return Raise(PyExc_ValueError, "Failed to create result list");
  }
  // Each collection would look through the growing result again: a fifth of a long listing's time.
  const CollectorPause pause;
  AgentListing listing;
  for (std::size_t position = 0; position < agents.size(); ++position) {
    listing.Add(result.get(), agents[position], position);
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
