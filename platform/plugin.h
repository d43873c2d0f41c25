// The cluster plug-in: the host library's object-oriented entry to the cluster.
//
// A caller creates a plug-in, gets the operations object from it, calls one or two operations, and
// destroys the operations object and then the plug-in, all without the GIL. Any number of threads
// may do so at the same time, each with a plug-in of its own. Every operation reports failure by
// throwing a std::exception.
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
  bool enabled = false;  ///< the host is a member of a cluster
};

/// The operations object. Each operation has a fixed slot, in the order of declaration: new ones go
/// to the end. Texts are UTF-8 by convention; no operation checks it.
class __attribute__((visibility("default"))) HostSystem {
 public:
  /// The storage network interfaces, in the host's order. The caller owns them.
  virtual std::vector<std::unique_ptr<QueltZelNicConfig2>> GetZelNicConfigs() = 0;

  virtual ~HostSystem() = default;

  /// Wraps the DEKs of the named disks under the current KEK, all or none. `flag` is false. Fails
  /// for an unknown disk and for a DEK that can't be unwrapped.
  virtual void ShallowRekeyDisks(const std::vector<std::string>& disks, bool flag) = 0;
  /// The highest disk format version that the cluster management server allows; 0 if it reports
  /// none.
  virtual std::uint8_t GetOqtaMaxDiskVersion() = 0;
  /// Adds a unicast agent, which UUID, address and port identify. Fails if it exists.
  ///
  /// `uuid` is the UUID text of the member node, `nodeType` a UnicastNodeType. `isSupportUnicast`:
  /// the member supports unicast. The four texts at the end may be empty; `interfaceGiven` tells an
  /// interface that is not given from an empty name.
  virtual void AddUnicastAgentEntry(const std::string& uuid, std::int32_t nodeType,
                                    bool isSupportUnicast, const QueltIpAddress& address,
                                    std::int32_t port, bool interfaceGiven,
                                    const std::string& interface, const std::string& hostname,
                                    const std::string& thumbprint,
                                    const std::string& subClusterUuid) = 0;
  /// Removes the agent with this UUID, address and port. Fails if there is none. `replaceWitness`:
  /// the agent must be a witness, and its record in the configuration store is removed too. `text`
  /// is empty.
  virtual void RemoveUnicastAgentEntry(const std::string& uuid, const QueltIpAddress& address,
                                       std::int32_t port, std::int32_t nodeType,
                                       bool replaceWitness, const std::string& text) = 0;
  /// Records an agent in the configuration store. Arguments as for AddUnicastAgentEntry.
  virtual void SetUnicastAgentInConfigStore(const std::string& uuid, std::int32_t nodeType,
                                            bool isSupportUnicast, const QueltIpAddress& address,
                                            std::int32_t port, const std::string& interface,
                                            const std::string& hostname,
                                            const std::string& thumbprint,
                                            const std::string& subClusterUuid) = 0;
  /// The cluster's configuration, or null if the host has none. `flag` is true.
  virtual std::shared_ptr<ClusterConfig> GetClusterConfig(bool flag) = 0;
  /// Upgrades the on-disk format of the named disk group. Fails for an unknown group.
  virtual void UpgradeDiskGroupFormatVersion(const std::string& diskGroup) = 0;
  /// The UUID text of the host's cluster.
  virtual std::string GetClusterId() = 0;
  /// Enables or disables the encryption of the host's disks. `flag` is false.
  virtual void SetHostEncryptionEnabled(bool enabled, bool flag) = 0;
  /// The configured key management servers; never null. `flag` is true.
  virtual std::shared_ptr<std::vector<KmsServerInfo>> GetKmsInfoList(bool flag) = 0;
  /// The KEK id and the host key id in the host's configuration, and storing them.
  virtual std::string GetConfiguredKekId() = 0;
  virtual std::string GetConfiguredHostKeyId() = 0;
  virtual void PersistKekId(const std::string& kekId) = 0;
  virtual void PersistHostKeyId(const std::string& hostKeyId) = 0;
  /// Whether the key management servers of the KMIP cluster are usable. If not, writes why to
  /// `reason`. `keyId` is a key that they should hold. Waits up to `seconds` seconds; the host
  /// chooses a limit for 0 and less.
  virtual bool QueryKmsStatus(const std::string& kmipClusterId, const std::string& keyId,
                              int seconds, std::string& reason) = 0;
  /// Writes the facts of the first-tier disks, by disk name and fact name, to `facts`, which is
  /// empty.
  virtual void GetT1DiskInfoMap(
      std::unordered_map<std::string, std::unordered_map<std::string, int>>& facts) = 0;
  /// Appends one record for each agent to `agents`, which is empty; `includeExtra` adds the agents
  /// that are recorded in the configuration store.
  virtual void GetUnicastAgentList(std::vector<QueltInfo::QueltUnicastAddressInfo>& agents,
                                   bool includeExtra) = 0;
  /// Writes the disk's unwrapped DEK to the 64 bytes at `dek`. Fails for an unknown disk and for a
  /// DEK that can't be unwrapped.
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

  /// A new operations object, owned by the caller; it may be null, which is a failure.
  std::unique_ptr<HostSystem> GetHostSystem();
};

}  // namespace HostCtl::Quelt

namespace HostCtl {

class __attribute__((visibility("default"))) QueltPluginFactory {
 public:
  /// A new plug-in, owned by the caller; it may be null, which is a failure.
  static std::unique_ptr<Quelt::QueltPlugin> GetQueltPlugin();
};

}  // namespace HostCtl
