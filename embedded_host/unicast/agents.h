// The two tables of unicast agents: the membership list, and the agents recorded in the
// configuration store. Every function runs inside the caller's transaction.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "embedded_host/store/connection.h"
#include "platform/unicast.h"

namespace quelt {

using HostCtl::Quelt::UnicastNodeType;
using HostCtl::Quelt::QueltInfo::QueltUnicastAddressInfo;

/// Node types are 0 to 3.
constexpr std::uint32_t kNodeTypes = 4;

enum class AgentList { kMembership, kRecorded };

/// An agent as the tables store it. UUID, address (in normal form) and port identify it; everything
/// else, including its type, is a property.
struct Agent : QueltUnicastAddressInfo {
  bool interfaceGiven = false;
};

/// A text property of an agent.
struct AgentTextField {
  const char* key;     ///< in the scenario
  const char* column;  ///< in both tables
  std::string QueltUnicastAddressInfo::* member;
};

/// All text properties. SQL, listing, scenario and dump are derived from this table.
inline constexpr AgentTextField kAgentTextFields[] = {
    {"interface", "zelnic", &QueltUnicastAddressInfo::zelnic},
    {"hostname", "hostname", &QueltUnicastAddressInfo::hostname},
    {"thumbprint", "thumbprint", &QueltUnicastAddressInfo::thumbprint},
    {"subClusterUuid", "sub_cluster_uuid", &QueltUnicastAddressInfo::subClusterUuid},
};

/// How messages name an agent.
std::string AgentName(const Agent& agent);

/// The node type of the agent with this UUID, address and port in the membership list.
std::optional<UnicastNodeType> FindAgentType(Connection& db, const Agent& agent);

/// Appends an agent to a list. False when the list already contains it.
bool InsertAgent(Connection& db, AgentList list, const Agent& agent);
/// Records an agent, or replaces its recorded properties.
void PutRecordedAgent(Connection& db, const Agent& agent);
/// Removes the agent with this UUID, address and port, if there is one.
void DeleteAgent(Connection& db, AgentList list, const Agent& agent);

/// All agents of a list, in the order of their insertion. Throws QueltCtlException when the table
/// contains an unknown node type.
std::vector<Agent> AllAgents(Connection& db, AgentList list);

/// Appends the membership list; with `includeExtra` also the recorded agents that are not in it.
void AppendAgents(Connection& db, bool includeExtra, std::vector<QueltUnicastAddressInfo>& agents);

}  // namespace quelt
