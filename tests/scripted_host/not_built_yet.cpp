// Operations that are declared but not built yet.
#include <stdexcept>

#include "tests/scripted_host/host_system.h"

namespace scripted {

std::vector<std::unique_ptr<QueltZelNicConfig2>> ScriptedHostSystem::GetZelNicConfigs() {
  throw std::runtime_error("GetZelNicConfigs");
}
void ScriptedHostSystem::AddUnicastAgentEntry(const std::string&, std::int32_t, bool,
                                              const QueltIpAddress&, std::int32_t, bool,
                                              const std::string&, const std::string&,
                                              const std::string&, const std::string&) {
  throw std::runtime_error("AddUnicastAgentEntry");
}
void ScriptedHostSystem::RemoveUnicastAgentEntry(const std::string&, const QueltIpAddress&,
                                                 std::int32_t, std::int32_t, bool,
                                                 const std::string&) {
  throw std::runtime_error("RemoveUnicastAgentEntry");
}
void ScriptedHostSystem::SetUnicastAgentInConfigStore(const std::string&, std::int32_t, bool,
                                                      const QueltIpAddress&, std::int32_t,
                                                      const std::string&, const std::string&,
                                                      const std::string&, const std::string&) {
  throw std::runtime_error("SetUnicastAgentInConfigStore");
}
std::shared_ptr<ClusterConfig> ScriptedHostSystem::GetClusterConfig(bool) {
  throw std::runtime_error("GetClusterConfig");
}
std::string ScriptedHostSystem::GetClusterId() { throw std::runtime_error("GetClusterId"); }
void ScriptedHostSystem::GetUnicastAgentList(std::vector<QueltInfo::QueltUnicastAddressInfo>&,
                                             bool) {
  throw std::runtime_error("GetUnicastAgentList");
}

}  // namespace scripted
