// The cluster plug-in: the host library's object-oriented entry to the cluster.
//
// A caller gets a plug-in, asks it for the operations object, calls one or two operations, destroys
// the operations object and then the plug-in, all without the interpreter lock. Every operation
// reports failure by throwing a std::exception.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/encryption.h"
#include "platform/network.h"
#include "platform/unicast.h"

namespace HostCtl::Quelt {

/// The cluster's configuration on this host.
struct ClusterConfig {
  bool enabled = false;
};

/// The operations object. Operations stand in slot order: new ones go to the end.
class __attribute__((visibility("default"))) HostSystem {
 public:
  /// The storage network interfaces, in the host's order.
  virtual std::vector<std::unique_ptr<QueltZelNicConfig2>> GetZelNicConfigs() = 0;

  virtual ~HostSystem() = default;

  /// Wraps the DEKs of the named disks under the present KEK. `flag` is false.
  virtual void ShallowRekeyDisks(const std::vector<std::string>& disks, bool flag) = 0;
  /// The capped highest disk format version; 0 when none is reported.
  virtual std::uint8_t GetOqtaMaxDiskVersion() = 0;
  virtual void AddUnicastAgentEntry(const std::string& uuid, std::int32_t nodeType,
                                    bool isSupportUnicast, const QueltIpAddress& address,
                                    std::int32_t port, bool interfaceGiven,
                                    const std::string& interface, const std::string& hostname,
                                    const std::string& thumbprint,
                                    const std::string& subClusterUuid) = 0;
  /// `text` is empty.
  virtual void RemoveUnicastAgentEntry(const std::string& uuid, const QueltIpAddress& address,
                                       std::int32_t port, std::int32_t nodeType,
                                       bool replaceWitness, const std::string& text) = 0;
  virtual void SetUnicastAgentInConfigStore(const std::string& uuid, std::int32_t nodeType,
                                            bool isSupportUnicast, const QueltIpAddress& address,
                                            std::int32_t port, const std::string& interface,
                                            const std::string& hostname,
                                            const std::string& thumbprint,
                                            const std::string& subClusterUuid) = 0;
  /// `flag` is true.
  virtual std::shared_ptr<ClusterConfig> GetClusterConfig(bool flag) = 0;
  virtual void UpgradeDiskGroupFormatVersion(const std::string& diskGroup) = 0;
  virtual std::string GetClusterId() = 0;
  /// `flag` is false.
  virtual void SetHostEncryptionEnabled(bool enabled, bool flag) = 0;
  /// The configured key management servers. `flag` is true.
  virtual std::shared_ptr<std::vector<KmsServerInfo>> GetKmsInfoList(bool flag) = 0;
  virtual std::string GetConfiguredKekId() = 0;
  virtual std::string GetConfiguredHostKeyId() = 0;
  virtual void PersistKekId(const std::string& kekId) = 0;
  virtual void PersistHostKeyId(const std::string& hostKeyId) = 0;
  /// True when the KMS is good; else `reason` says why not. `seconds` bounds the check.
  virtual bool QueryKmsStatus(const std::string& kmipClusterId, const std::string& keyId,
                              int seconds, std::string& reason) = 0;
  /// Facts by disk name and fact name.
  virtual void GetT1DiskInfoMap(
      std::unordered_map<std::string, std::unordered_map<std::string, int>>& facts) = 0;
  /// Appends one record for each agent; `includeExtra` adds those that the configuration store
  /// records.
  virtual void GetUnicastAgentList(std::vector<QueltInfo::QueltUnicastAddressInfo>& agents,
                                   bool includeExtra) = 0;
  /// Writes the disk's 64-byte unwrapped DEK to `dek`.
  virtual void GetUnwrappedDekForDisk(const std::string& disk, unsigned char* dek) = 0;
};

/// The plug-in. Concrete, final and without virtual functions, so that deleting it through the
/// owning handle needs no virtual destructor.
class __attribute__((visibility("default"))) QueltPlugin final {
 public:
  QueltPlugin();
  ~QueltPlugin();
  QueltPlugin(const QueltPlugin&) = delete;
  QueltPlugin& operator=(const QueltPlugin&) = delete;

  std::unique_ptr<HostSystem> GetHostSystem();
};

}  // namespace HostCtl::Quelt

namespace HostCtl {

class __attribute__((visibility("default"))) QueltPluginFactory {
 public:
  /// A new plug-in, owned by the caller.
  static std::unique_ptr<Quelt::QueltPlugin> GetQueltPlugin();
};

}  // namespace HostCtl
