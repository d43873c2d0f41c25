// The embedded host's HostSystem. The files of each subject define its operations.
#pragma once

#include "platform/plugin.h"

namespace quelt {

using HostCtl::Quelt::ClusterConfig;
using HostCtl::Quelt::KmsServerInfo;
using HostCtl::Quelt::QueltIpAddress;
using HostCtl::Quelt::QueltZelNicConfig2;
namespace QueltInfo = HostCtl::Quelt::QueltInfo;

class EmbeddedHostSystem final : public HostCtl::Quelt::HostSystem {
 public:
  std::vector<std::unique_ptr<QueltZelNicConfig2>> GetZelNicConfigs() override;
  void ShallowRekeyDisks(const std::vector<std::string>& disks, bool flag) override;
  std::uint8_t GetOqtaMaxDiskVersion() override;
  void AddUnicastAgentEntry(const std::string& uuid, std::int32_t nodeType, bool isSupportUnicast,
                            const QueltIpAddress& address, std::int32_t port, bool interfaceGiven,
                            const std::string& interface, const std::string& hostname,
                            const std::string& thumbprint,
                            const std::string& subClusterUuid) override;
  void RemoveUnicastAgentEntry(const std::string& uuid, const QueltIpAddress& address,
                               std::int32_t port, std::int32_t nodeType, bool replaceWitness,
                               const std::string& text) override;
  void SetUnicastAgentInConfigStore(const std::string& uuid, std::int32_t nodeType,
                                    bool isSupportUnicast, const QueltIpAddress& address,
                                    std::int32_t port, const std::string& interface,
                                    const std::string& hostname, const std::string& thumbprint,
                                    const std::string& subClusterUuid) override;
  std::shared_ptr<ClusterConfig> GetClusterConfig(bool flag) override;
  void UpgradeDiskGroupFormatVersion(const std::string& diskGroup) override;
  std::string GetClusterId() override;
  void SetHostEncryptionEnabled(bool enabled, bool flag) override;
  std::shared_ptr<std::vector<KmsServerInfo>> GetKmsInfoList(bool flag) override;
  std::string GetConfiguredKekId() override;
  std::string GetConfiguredHostKeyId() override;
  void PersistKekId(const std::string& kekId) override;
  void PersistHostKeyId(const std::string& hostKeyId) override;
  bool QueryKmsStatus(const std::string& kmipClusterId, const std::string& keyId, int seconds,
                      std::string& reason) override;
  void GetT1DiskInfoMap(
      std::unordered_map<std::string, std::unordered_map<std::string, int>>& facts) override;
  void GetUnicastAgentList(std::vector<QueltInfo::QueltUnicastAddressInfo>& agents,
                           bool includeExtra) override;
  void GetUnwrappedDekForDisk(const std::string& disk, unsigned char* dek) override;
};

}  // namespace quelt
