// Adding, replacing and removing unicast agents.
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/text/addresses.h"
#include "embedded_host/unicast/agents.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

/// Stores a valid agent with `put(Connection&)`.
template <typename Put>
void WriteAgent(OperationId operation, const Agent& agent, Put&& put) {
  const auto nodeType = static_cast<std::int32_t>(agent.nodeType);
  Operation(operation, {{"uuid", agent.uuid},
                        {"nodeType", std::int64_t{nodeType}},
                        {"isSupportUnicast", agent.isSupportUnicast},
                        {"address", agent.address},
                        {"port", std::int64_t{agent.port}},
                        {"interfaceGiven", agent.interfaceGiven},
                        {"interface", agent.zelnic},
                        {"hostname", agent.hostname},
                        {"thumbprint", agent.thumbprint},
                        {"subClusterUuid", agent.subClusterUuid}})
      .Write([&](Connection& db) {
        if (static_cast<std::uint32_t>(nodeType) >= kNodeTypes) {
          throw QueltCtlException(AgentName(agent) + ": node type " + std::to_string(nodeType) +
                                  " is not known");
        }
        put(db);
      });
}

}  // namespace

void EmbeddedHostSystem::AddUnicastAgentEntry(const std::string& uuid, std::int32_t nodeType,
                                              bool isSupportUnicast, const QueltIpAddress& address,
                                              std::int32_t port, bool interfaceGiven,
                                              const std::string& interface,
                                              const std::string& hostname,
                                              const std::string& thumbprint,
                                              const std::string& subClusterUuid) {
  const Agent agent = {{uuid, UnicastNodeType(nodeType), isSupportUnicast, AddressText(address),
                        port, interface, hostname, thumbprint, subClusterUuid},
                       interfaceGiven};
  WriteAgent("AddUnicastAgentEntry", agent, [&](Connection& db) {
    if (!InsertAgent(db, AgentList::kMembership, agent)) {
      throw QueltCtlException(AgentName(agent) + " already exists");
    }
  });
}

// With `replaceWitness` the agent must be a witness, and its record in the configuration store is
// removed too: otherwise the replaced witness would be listed as an extra agent. `nodeType` is only
// journaled: it is not part of an agent's identity.
void EmbeddedHostSystem::RemoveUnicastAgentEntry(const std::string& uuid,
                                                 const QueltIpAddress& address, std::int32_t port,
                                                 std::int32_t nodeType, bool replaceWitness,
                                                 const std::string& text) {
  Agent agent;
  agent.uuid = uuid;
  agent.address = AddressText(address);
  agent.port = port;
  Operation("RemoveUnicastAgentEntry", {{"uuid", uuid},
                                        {"address", agent.address},
                                        {"port", std::int64_t{port}},
                                        {"nodeType", std::int64_t{nodeType}},
                                        {"replaceWitness", replaceWitness},
                                        {"text", text}})
      .Write([&](Connection& db) {
        const std::optional<UnicastNodeType> type = FindAgentType(db, agent);
        if (!type) {
          throw QueltCtlException(AgentName(agent) + " does not exist");
        }
        if (replaceWitness && *type != UnicastNodeType::kWitness) {
          throw QueltCtlException(AgentName(agent) + " is not a witness");
        }
        DeleteAgent(db, AgentList::kMembership, agent);
        if (replaceWitness) {
          DeleteAgent(db, AgentList::kRecorded, agent);
        }
      });
}

void EmbeddedHostSystem::SetUnicastAgentInConfigStore(
    const std::string& uuid, std::int32_t nodeType, bool isSupportUnicast,
    const QueltIpAddress& address, std::int32_t port, const std::string& interface,
    const std::string& hostname, const std::string& thumbprint, const std::string& subClusterUuid) {
  const Agent agent = {{uuid, UnicastNodeType(nodeType), isSupportUnicast, AddressText(address),
                        port, interface, hostname, thumbprint, subClusterUuid},
                       !interface.empty()};
  WriteAgent("SetUnicastAgentInConfigStore", agent,
             [&](Connection& db) { PutRecordedAgent(db, agent); });
}

}  // namespace quelt
