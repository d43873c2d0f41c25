// Unicast membership. Addresses are parsed for real, unless the script says what to return.
//
// GetUnicastAgentList takes its records from "out": {"agents": [{field: value, ...}, ...]}, all of
// them again "repeat" times with a number after each UUID. For measuring and for long listings, a
// feature flag can be set so that asking for it is neither scripted nor recorded.
#include <atomic>
#include <utility>

#include "embedded_host/addresses.h"
#include "platform/quelt_util.h"
#include "tests/scripted_host/host_system.h"
#include "tests/scripted_host/script.h"

using HostCtl::Quelt::QueltIpAddress;
using scripted::Answer;
using scripted::json;
using scripted::ToJson;

namespace {

constexpr int kAsScripted = -1;
std::atomic<int> metadataFeature = kAsScripted;

}  // namespace

extern "C" {
#pragma GCC visibility push(default)

/// Sets the metadata-node feature to on (1), off (0) or what the script says (-1).
void scripted_host_metadata_feature(int state) { metadataFeature = state; }

#pragma GCC visibility pop
}

namespace ZelCtl::Quelt {

bool QueltUtil::BuildQueltIPAddress(const std::string& text, QueltIpAddress& address) {
  const Answer answer("BuildQueltIPAddress", json::array({ToJson(text)}));
  return answer.Returns(quelt::ParseAddress(text, address));
}

bool QueltUtil::IsQueltCSDFeatureEnabled() {
  return Answer("IsQueltCSDFeatureEnabled").Returns(false);
}

bool QueltUtil::IsQueltMetadataNodeFeatureEnabled() {
  const int feature = metadataFeature;
  return feature == kAsScripted ? Answer("IsQueltMetadataNodeFeatureEnabled").Returns(false)
                                : feature != 0;
}

void QueltUtil::GetUnicastModeForCluster(bool& mode, std::string clusterId) {
  const std::string id = std::move(clusterId);
  Answer("GetUnicastModeForCluster", json::array({mode, ToJson(id)})).Out("mode", mode);
}

}  // namespace ZelCtl::Quelt

namespace scripted {

namespace {

using QueltInfo::QueltUnicastAddressInfo;

QueltUnicastAddressInfo ToAgent(const json& record) {
  const auto text = [&](const char* name) { return ToBytes(record.value(name, json(""))); };
  QueltUnicastAddressInfo agent;
  agent.uuid = text("uuid");
  agent.nodeType = static_cast<HostCtl::Quelt::UnicastNodeType>(record.value("nodeType", 0U));
  agent.isSupportUnicast = record.value("isSupportUnicast", false);
  agent.address = text("address");
  agent.port = record.value("port", std::int32_t{0});
  agent.zelnic = text("zelnic");
  agent.hostname = text("hostname");
  agent.thumbprint = text("thumbprint");
  agent.subClusterUuid = text("subClusterUuid");
  return agent;
}

}  // namespace

void ScriptedHostSystem::GetUnicastAgentList(std::vector<QueltUnicastAddressInfo>& agents,
                                             bool includeExtra) {
  const Answer answer("GetUnicastAgentList", json::array({includeExtra, agents.size()}));
  const json* const records = answer.FindOut("agents");
  if (records == nullptr) {
    return;
  }
  for (const json& record : *records) {
    agents.push_back(ToAgent(record));
  }
  const std::size_t repeat = answer.all().value("repeat", std::size_t{1});
  if (repeat == 1) {
    return;
  }
  const std::vector<QueltUnicastAddressInfo> templates = std::move(agents);
  agents.clear();
  agents.reserve(templates.size() * repeat);
  for (std::size_t i = 0; i < repeat; ++i) {
    for (const QueltUnicastAddressInfo& agent : templates) {
      agents.push_back(agent);
      agents.back().uuid += std::to_string(i);
    }
  }
}

void ScriptedHostSystem::AddUnicastAgentEntry(const std::string& uuid, std::int32_t nodeType,
                                              bool isSupportUnicast, const QueltIpAddress& address,
                                              std::int32_t port, bool interfaceGiven,
                                              const std::string& interface,
                                              const std::string& hostname,
                                              const std::string& thumbprint,
                                              const std::string& subClusterUuid) {
  Answer("AddUnicastAgentEntry",
         {ToJson(uuid), nodeType, isSupportUnicast, ToJson(quelt::AddressText(address)), port,
          interfaceGiven, ToJson(interface), ToJson(hostname), ToJson(thumbprint),
          ToJson(subClusterUuid)});
}

void ScriptedHostSystem::RemoveUnicastAgentEntry(const std::string& uuid,
                                                 const QueltIpAddress& address, std::int32_t port,
                                                 std::int32_t nodeType, bool replaceWitness,
                                                 const std::string& text) {
  Answer("RemoveUnicastAgentEntry", {ToJson(uuid), ToJson(quelt::AddressText(address)), port,
                                     nodeType, replaceWitness, ToJson(text)});
}

void ScriptedHostSystem::SetUnicastAgentInConfigStore(
    const std::string& uuid, std::int32_t nodeType, bool isSupportUnicast,
    const QueltIpAddress& address, std::int32_t port, const std::string& interface,
    const std::string& hostname, const std::string& thumbprint, const std::string& subClusterUuid) {
  Answer("SetUnicastAgentInConfigStore",
         {ToJson(uuid), nodeType, isSupportUnicast, ToJson(quelt::AddressText(address)), port,
          ToJson(interface), ToJson(hostname), ToJson(thumbprint), ToJson(subClusterUuid)});
}

std::shared_ptr<ClusterConfig> ScriptedHostSystem::GetClusterConfig(bool flag) {
  const Answer answer("GetClusterConfig", json::array({flag}));
  if (answer.ReturnsNull()) {
    return nullptr;
  }
  // Its release is recorded.
  std::shared_ptr<ClusterConfig> config(new ClusterConfig, [](ClusterConfig* released) {
    const Answer answer("~ClusterConfig");
    --handedOut;
    delete released;
  });
  ++handedOut;
  config->enabled = answer.Returns(false);
  return config;
}

std::string ScriptedHostSystem::GetClusterId() {
  return Answer("GetClusterId").Returns(std::string());
}

}  // namespace scripted
