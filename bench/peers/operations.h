// The platform operations that the peers bind. They throw std::exception, use C++ values only, and
// may run without the GIL.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "platform/config_store.h"
#include "platform/plugin.h"
#include "platform/quelt_util.h"

namespace operations {

using Agent = HostCtl::Quelt::QueltInfo::QueltUnicastAddressInfo;

struct Status {
  bool good = false;
  std::string reason;
};

inline std::string GetHardwareSku() {
  std::string sku;
  if (!ZelCtl::Quelt::QueltConfigStore().GetHardwareSku(sku)) {
    throw std::runtime_error("no SKU");
  }
  return sku;
}

inline void SetIloAuth(const std::string& first, const std::string& second) {
  if (!ZelCtl::Quelt::QueltConfigStore().SetIloAuth(first, second)) {
    throw std::runtime_error("refused");
  }
}

inline Status CheckKmsStatus(const std::string& cluster, const std::string& key, int seconds) {
  const auto plugin = HostCtl::QueltPluginFactory::GetQueltPlugin();
  const auto system = plugin->GetHostSystem();
  Status status;
  status.good = system->QueryKmsStatus(cluster, key, seconds, status.reason);
  return status;
}

inline void Decrypt2kBlock(const void* dek, unsigned long position, const void* block,
                           void* output) {
  ZelCtl::Quelt::QueltUtil::Decrypt2kBlock(static_cast<const unsigned char*>(dek), position,
                                           static_cast<const unsigned char*>(block),
                                           static_cast<unsigned char*>(output));
}

inline std::vector<Agent> GetUnicastAgents(bool includeExtra) {
  const auto plugin = HostCtl::QueltPluginFactory::GetQueltPlugin();
  const auto system = plugin->GetHostSystem();
  std::vector<Agent> agents;
  system->GetUnicastAgentList(agents, includeExtra);
  return agents;
}

/// Whether an agent's dictionary has "nodeType" or "isWitness". Bindings check twice per agent.
inline bool ShowsNodeType() {
  return ZelCtl::Quelt::QueltUtil::IsQueltMetadataNodeFeatureEnabled();
}

inline bool IsWitness(const Agent& agent) {
  return agent.nodeType == HostCtl::Quelt::UnicastNodeType::kWitness;
}

}  // namespace operations
