// Listing unicast agents.
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/unicast/agents.h"

namespace quelt {

void EmbeddedHostSystem::GetUnicastAgentList(std::vector<QueltUnicastAddressInfo>& agents,
                                             bool includeExtra) {
  Operation("GetUnicastAgentList", {{"includeExtra", includeExtra}}).Snapshot([&](Connection& db) {
    AppendAgents(db, includeExtra, agents);
  });
}

}  // namespace quelt
