// Operations that are declared but not built yet.
#include <stdexcept>

#include "embedded_host/host_system.h"

namespace quelt {

std::vector<std::unique_ptr<QueltZelNicConfig2>> EmbeddedHostSystem::GetZelNicConfigs() {
  throw std::runtime_error("GetZelNicConfigs");
}
void EmbeddedHostSystem::AddUnicastAgentEntry(const std::string&, std::int32_t, bool,
                                              const QueltIpAddress&, std::int32_t, bool,
                                              const std::string&, const std::string&,
                                              const std::string&, const std::string&) {
  throw std::runtime_error("AddUnicastAgentEntry");
}
void EmbeddedHostSystem::RemoveUnicastAgentEntry(const std::string&, const QueltIpAddress&,
                                                 std::int32_t, std::int32_t, bool,
                                                 const std::string&) {
  throw std::runtime_error("RemoveUnicastAgentEntry");
}
void EmbeddedHostSystem::SetUnicastAgentInConfigStore(const std::string&, std::int32_t, bool,
                                                      const QueltIpAddress&, std::int32_t,
                                                      const std::string&, const std::string&,
                                                      const std::string&, const std::string&) {
  throw std::runtime_error("SetUnicastAgentInConfigStore");
}
std::shared_ptr<ClusterConfig> EmbeddedHostSystem::GetClusterConfig(bool) {
  throw std::runtime_error("GetClusterConfig");
}
std::string EmbeddedHostSystem::GetClusterId() { throw std::runtime_error("GetClusterId"); }
void EmbeddedHostSystem::GetUnicastAgentList(std::vector<QueltInfo::QueltUnicastAddressInfo>&,
                                             bool) {
  throw std::runtime_error("GetUnicastAgentList");
}

}  // namespace quelt
