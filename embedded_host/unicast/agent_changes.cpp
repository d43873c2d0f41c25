// Unicast agents of the embedded host. An agent is known by its UUID, address and port; everything
// else, its type included, is a property.
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/text/addresses.h"
#include "embedded_host/unicast/agents.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

/// Puts an agent into a list, by `put(Connection&)`.
template <typename Put>
void WriteAgent(OperationId operation, const Agent& agent, Put&& put) {
  Operation(operation, {{"uuid", agent.key.uuid},
                        {"nodeType", agent.nodeType},
                        {"isSupportUnicast", agent.isSupportUnicast},
                        {"address", agent.key.address},
                        {"port", agent.key.port},
                        {"interfaceGiven", agent.interfaceGiven},
                        {"interface", agent.interface},
                        {"hostname", agent.hostname},
                        {"thumbprint", agent.thumbprint},
                        {"subClusterUuid", agent.subClusterUuid}})
      .Write([&](Connection& db) {
        if (agent.nodeType < 0 || agent.nodeType >= kNodeTypes) {
          throw QueltCtlException(agent.key.Name() + ": node type " +
                                  std::to_string(agent.nodeType) + " is not known");
        }
        put(db);
      });
}

}  // namespace

void EmbeddedHostSystem::GetUnicastAgentList(
    std::vector<QueltInfo::QueltUnicastAddressInfo>& agents, bool includeExtra) {
  Operation("GetUnicastAgentList", {{"includeExtra", includeExtra}}).Snapshot([&](Connection& db) {
    AppendAgents(db, includeExtra, agents);
  });
}

void EmbeddedHostSystem::AddUnicastAgentEntry(const std::string& uuid, std::int32_t nodeType,
                                              bool isSupportUnicast, const QueltIpAddress& address,
                                              std::int32_t port, bool interfaceGiven,
                                              const std::string& interface,
                                              const std::string& hostname,
                                              const std::string& thumbprint,
                                              const std::string& subClusterUuid) {
  const Agent agent = {{uuid, AddressText(address), port},
                       nodeType,
                       isSupportUnicast,
                       interfaceGiven,
                       interface,
                       hostname,
                       thumbprint,
                       subClusterUuid};
  WriteAgent("AddUnicastAgentEntry", agent, [&](Connection& db) {
    if (!InsertAgent(db, AgentList::kMembership, agent)) {
      throw QueltCtlException(agent.key.Name() + " already exists");
    }
  });
}

// With `replaceWitness` the agent must be a witness, and what the configuration store records about
// it goes too: a replaced witness does not come back as an extra agent. `nodeType` says how the
// caller sees the agent; it does not help to find it.
void EmbeddedHostSystem::RemoveUnicastAgentEntry(const std::string& uuid,
                                                 const QueltIpAddress& address, std::int32_t port,
                                                 std::int32_t nodeType, bool replaceWitness,
                                                 const std::string& text) {
  const AgentKey key = {uuid, AddressText(address), port};
  Operation("RemoveUnicastAgentEntry", {{"uuid", uuid},
                                        {"address", key.address},
                                        {"port", std::int64_t{port}},
                                        {"nodeType", std::int64_t{nodeType}},
                                        {"replaceWitness", replaceWitness},
                                        {"text", text}})
      .Write([&](Connection& db) {
        const std::optional<std::int64_t> type = FindAgentType(db, key);
        if (!type) {
          throw QueltCtlException(key.Name() + " does not exist");
        }
        if (replaceWitness && *type != kWitnessType) {
          throw QueltCtlException(key.Name() + " is not a witness");
        }
        DeleteAgent(db, AgentList::kMembership, key);
        if (replaceWitness) {
          DeleteAgent(db, AgentList::kRecorded, key);
        }
      });
}

void EmbeddedHostSystem::SetUnicastAgentInConfigStore(
    const std::string& uuid, std::int32_t nodeType, bool isSupportUnicast,
    const QueltIpAddress& address, std::int32_t port, const std::string& interface,
    const std::string& hostname, const std::string& thumbprint, const std::string& subClusterUuid) {
  const Agent agent = {{uuid, AddressText(address), port},
                       nodeType,
                       isSupportUnicast,
                       !interface.empty(),
                       interface,
                       hostname,
                       thumbprint,
                       subClusterUuid};
  WriteAgent("SetUnicastAgentInConfigStore", agent,
             [&](Connection& db) { PutRecordedAgent(db, agent); });
}

}  // namespace quelt
