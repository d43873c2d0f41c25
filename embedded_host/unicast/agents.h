// The tables of unicast agents: the membership list, and the agents that the configuration store
// records. Every function runs inside an operation's transaction.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "embedded_host/store/connection.h"
#include "platform/unicast.h"

namespace quelt {

/// Node types are 0 to 3.
constexpr std::int64_t kNodeTypes = 4;
constexpr auto kWitnessType = static_cast<std::int64_t>(HostCtl::Quelt::UnicastNodeType::kWitness);

enum class AgentList { kMembership, kRecorded };

/// What an agent is known by.
struct AgentKey {
  std::string uuid;
  std::string address;  ///< in its normal form
  std::int64_t port;

  /// The agent in a message.
  std::string Name() const;
};

struct Agent {
  AgentKey key;
  std::int64_t nodeType;
  bool isSupportUnicast;
  bool interfaceGiven;
  std::string interface;
  std::string hostname;
  std::string thumbprint;
  std::string subClusterUuid;
};

/// The node type of an agent of the membership list; nothing when there is no such agent.
std::optional<std::int64_t> FindAgentType(Connection& db, const AgentKey& key);

/// Puts an agent at the end of a list. False when the list holds it already.
bool InsertAgent(Connection& db, AgentList list, const Agent& agent);
/// Records an agent, or changes what is recorded about it.
void PutRecordedAgent(Connection& db, const Agent& agent);
/// Removes an agent, if it is there.
void DeleteAgent(Connection& db, AgentList list, const AgentKey& key);

/// All agents of a list, in the order in which they came. Throws QueltCtlException when a state
/// from elsewhere holds another node type.
std::vector<Agent> AllAgents(Connection& db, AgentList list);

/// Appends the membership list; with `includeExtra` also the recorded agents that are not in it.
void AppendAgents(Connection& db, bool includeExtra,
                  std::vector<HostCtl::Quelt::QueltInfo::QueltUnicastAddressInfo>& agents);

}  // namespace quelt
