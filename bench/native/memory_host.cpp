// The memory host: a host library for the comparison of bindings. Measured operations return fixed
// values from memory, at a small and constant cost; all others fail. Its file has the embedded
// host's name, so that LD_LIBRARY_PATH makes the built module load it.
//
// Thread safety: set the agents before other threads call; after that, all data is read-only.
#include <cstring>

#include "platform/config_store.h"
#include "platform/exception.h"
#include "platform/plugin.h"
#include "platform/quelt_util.h"

using HostCtl::Lib::Quelt::QueltCtlException;
using HostCtl::Quelt::HostSystem;
using HostCtl::Quelt::QueltIpAddress;
using HostCtl::Quelt::UnicastNodeType;
using HostCtl::Quelt::QueltInfo::QueltUnicastAddressInfo;

// The loader finds these symbols by name.
#pragma GCC visibility push(default)

namespace {

std::vector<QueltUnicastAddressInfo>& ListedAgents() {
  static auto* const agents = new std::vector<QueltUnicastAddressInfo>;
  return *agents;
}

[[noreturn]] void NotMeasured() { throw QueltCtlException("not measured"); }

class MemoryHostSystem final : public HostSystem {
 public:
  bool QueryKmsStatus(const std::string&, const std::string&, int, std::string& reason) override {
    reason = "kms1.example:5696: connection refused";
    return false;
  }
  void GetUnicastAgentList(std::vector<QueltUnicastAddressInfo>& agents, bool) override {
    agents = ListedAgents();
  }

  std::vector<std::unique_ptr<HostCtl::Quelt::QueltZelNicConfig2>> GetZelNicConfigs() override {
    NotMeasured();
  }
  void ShallowRekeyDisks(const std::vector<std::string>&, bool) override { NotMeasured(); }
  std::uint8_t GetOqtaMaxDiskVersion() override { NotMeasured(); }
  void AddUnicastAgentEntry(const std::string&, std::int32_t, bool, const QueltIpAddress&,
                            std::int32_t, bool, const std::string&, const std::string&,
                            const std::string&, const std::string&) override {
    NotMeasured();
  }
  void RemoveUnicastAgentEntry(const std::string&, const QueltIpAddress&, std::int32_t,
                               std::int32_t, bool, const std::string&) override {
    NotMeasured();
  }
  void SetUnicastAgentInConfigStore(const std::string&, std::int32_t, bool, const QueltIpAddress&,
                                    std::int32_t, const std::string&, const std::string&,
                                    const std::string&, const std::string&) override {
    NotMeasured();
  }
  std::shared_ptr<HostCtl::Quelt::ClusterConfig> GetClusterConfig(bool) override { NotMeasured(); }
  void UpgradeDiskGroupFormatVersion(const std::string&) override { NotMeasured(); }
  std::string GetClusterId() override { NotMeasured(); }
  void SetHostEncryptionEnabled(bool, bool) override { NotMeasured(); }
  std::shared_ptr<std::vector<HostCtl::Quelt::KmsServerInfo>> GetKmsInfoList(bool) override {
    NotMeasured();
  }
  std::string GetConfiguredKekId() override { NotMeasured(); }
  std::string GetConfiguredHostKeyId() override { NotMeasured(); }
  void PersistKekId(const std::string&) override { NotMeasured(); }
  void PersistHostKeyId(const std::string&) override { NotMeasured(); }
  void GetT1DiskInfoMap(
      std::unordered_map<std::string, std::unordered_map<std::string, int>>&) override {
    NotMeasured();
  }
  void GetUnwrappedDekForDisk(const std::string&, unsigned char*) override { NotMeasured(); }
};

}  // namespace

/// Sets the list of agents: `count` agents with different UUIDs.
extern "C" void memory_host_agents(std::size_t count) {
  QueltUnicastAddressInfo agent;
  agent.nodeType = UnicastNodeType::kWitness;
  agent.isSupportUnicast = true;
  agent.address = "192.0.2.11";
  agent.port = 12321;
  agent.zelnic = "zelnic1";
  agent.hostname = "host1.example";
  agent.thumbprint = "1E:52:7B:09:C4:A8:6D:33:F0:11:80:9D:57:E2:40:C6:1B:AF:39:75";
  agent.subClusterUuid = "00000000-0000-0000-0000-000000000000";
  std::vector<QueltUnicastAddressInfo> agents(count, agent);
  for (std::size_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    agents[i].uuid = "5f0c2a31-8d44-4b7e-9c15-" + std::string(12 - number.size(), '0') + number;
  }
  ListedAgents().swap(agents);
}

namespace ZelCtl::Quelt {

bool QueltConfigStore::GetHardwareSku(std::string& sku) {
  sku = "QS-2200-R";
  return true;
}
bool QueltConfigStore::SetIloAuth(const std::string& first, const std::string& second) {
  return !first.empty() && !second.empty();
}
void QueltUtil::Decrypt2kBlock(const unsigned char*, unsigned long, const unsigned char* block,
                               unsigned char* output) {
  std::memcpy(output, block, ENCR_BLOCK_SIZE);
}
bool QueltUtil::IsQueltMetadataNodeFeatureEnabled() { return false; }

bool QueltConfigStore::GetIloAuth(std::pair<std::string, std::string>&) { NotMeasured(); }
bool QueltConfigStore::GetPerfsvcHostConfigStore(std::unordered_map<std::string, std::string>&) {
  NotMeasured();
}
bool QueltConfigStore::SetPerfsvcHostConfigStore(const std::string&, const std::string&) {
  NotMeasured();
}
bool QueltConfigStore::SetClusterTimeMachineConfigStore(const std::string&, const std::string&) {
  NotMeasured();
}
void QueltUtil::AddKeyToKeyCache(const char*, const char*, const char*, int) { NotMeasured(); }
void QueltUtil::RemoveKeyFromKeyCache(const char*) { NotMeasured(); }
void QueltUtil::RetrieveKeyFromKeyCache(const char*, unsigned char*, unsigned int, unsigned int&) {
  NotMeasured();
}
bool QueltUtil::LookupKeyInKeyCache(const char*) { NotMeasured(); }
void QueltUtil::GetEncMetadataForDisk(const std::string&, HostCtl::Quelt::Uuid&, ENCR_Metadata&,
                                      ENCR_Metadata_AWS&) {
  NotMeasured();
}
std::string QueltUtil::QueltUuidToString(const HostCtl::Quelt::Uuid&) { NotMeasured(); }
std::string QueltUtil::FormatCertString(const std::string&) { NotMeasured(); }
void QueltUtil::AddKmsCertToTrustStore(const std::string&, bool) { NotMeasured(); }
bool QueltUtil::CheckCloudKmsStatus(const std::string&, std::string&) { NotMeasured(); }
std::string QueltUtil::KeyIdForKek(const std::string&, const std::string&) { NotMeasured(); }
bool QueltUtil::GetKmsPasswordFromConfigStore(const std::string&, std::string&) { NotMeasured(); }
bool QueltUtil::BuildQueltIPAddress(const std::string&, QueltIpAddress&) { NotMeasured(); }
bool QueltUtil::IsQueltCSDFeatureEnabled() { NotMeasured(); }
// NOLINTNEXTLINE(performance-unnecessary-value-param): as in the declaration
void QueltUtil::GetUnicastModeForCluster(bool&, std::string) { NotMeasured(); }
int QueltUtil::IsObjectAccessible(QUELTUUID, QUELTUUID, char*) { NotMeasured(); }
void QueltUtil::GetCapacityAndFSOverheadFromNorim(QUELTUUID, unsigned long*, unsigned long*,
                                                  unsigned long*, unsigned long*, unsigned long*,
                                                  unsigned long*, unsigned long*, unsigned long*,
                                                  unsigned long*) {
  NotMeasured();
}

}  // namespace ZelCtl::Quelt

namespace HostCtl::Quelt {

std::function<void()> QueltInfo::syncConfigurationCallback;

QueltPlugin::QueltPlugin() = default;
QueltPlugin::~QueltPlugin() = default;
std::unique_ptr<HostSystem> QueltPlugin::GetHostSystem() {
  return std::make_unique<MemoryHostSystem>();
}

}  // namespace HostCtl::Quelt

std::unique_ptr<HostCtl::Quelt::QueltPlugin> HostCtl::QueltPluginFactory::GetQueltPlugin() {
  return std::make_unique<Quelt::QueltPlugin>();
}

extern "C" {

std::int32_t ObjUtil_Create(const std::uint8_t*, const char*, const char*, const char*,
                            std::int32_t, std::uint64_t, std::int32_t, bool, const std::uint8_t*,
                            std::int32_t, std::uint8_t*) {
  return 1;
}
std::int32_t ObjUtil_Delete(const std::uint8_t*, const std::uint8_t*, bool, void*, void*) {
  return 1;
}
bool ObjLib_Init() { return false; }
void ObjLib_Exit() noexcept {}
char* ObjLib_GetURIPrefix(int) { return nullptr; }
int ObjLib_GetExtParams(const char*, int, ObjLibExtParams**) { return 1; }
void ObjLib_FreeExtParams(ObjLibExtParams**) noexcept {}
char* DDBGet(ObjDescriptor*, const char*) { return nullptr; }

}  // extern "C"
