// The plug-in and its operations object. Releases are recorded as well.
#include "embedded_host/text/addresses.h"
#include "platform/plugin.h"
#include "tests/scripted_host/script.h"

namespace scripted {

namespace {

using HostCtl::Quelt::ClusterConfig;
using HostCtl::Quelt::KmsServerInfo;
using HostCtl::Quelt::QueltIpAddress;
using HostCtl::Quelt::QueltZelNicConfig2;
using HostCtl::Quelt::QueltInfo::QueltUnicastAddressInfo;

/// An interface {getter: value, ...} with addresses as texts. Each getter is recorded with the
/// position of the interface and can throw, as an operation can.
class ScriptedInterface final : public QueltZelNicConfig2, LiveObject {
 public:
  ScriptedInterface(json values, std::size_t position)
      : values_(std::move(values)), position_(position) {}
  ~ScriptedInterface() override { RecordRelease("~QueltZelNicConfig", position_); }

  std::string GetZelnicName() const override { return Text("GetZelnicName"); }
  std::string GetIfaceUuid() const override { return Text("GetIfaceUuid"); }
  std::string GetTrafficType() const override { return Text("GetTrafficType"); }
  QueltIpAddress GetAgentMulticastGroup() const override {
    return Address("GetAgentMulticastGroup");
  }
  QueltIpAddress GetAgentV6MulticastGroup() const override {
    return Address("GetAgentV6MulticastGroup");
  }
  QueltIpAddress GetMasterMulticastGroup() const override {
    return Address("GetMasterMulticastGroup");
  }
  QueltIpAddress GetMasterV6MulticastGroup() const override {
    return Address("GetMasterV6MulticastGroup");
  }
  std::int32_t GetAgentMulticastPort() const override { return Number("GetAgentMulticastPort"); }
  std::int32_t GetMasterMulticastPort() const override { return Number("GetMasterMulticastPort"); }
  std::int32_t GetHostUnicastPort() const override { return Number("GetHostUnicastPort"); }
  std::int32_t GetMulticastTTL() const override { return Number("GetMulticastTTL"); }

 private:
  template <typename T>
  T Value(const char* getter) const {
    const Answer answer(getter, position_);
    T value{};
    ReadMembers(values_, getter, value);
    return value;
  }
  std::string Text(const char* getter) const { return Value<std::string>(getter); }
  std::int32_t Number(const char* getter) const { return Value<std::int32_t>(getter); }
  QueltIpAddress Address(const char* getter) const {
    QueltIpAddress address;
    quelt::ParseAddress(Text(getter), address);
    return address;
  }

  const json values_;
  const std::size_t position_;
};

class ScriptedHostSystem final : public HostCtl::Quelt::HostSystem, LiveObject {
 public:
  ~ScriptedHostSystem() override { RecordRelease("~HostSystem"); }

  std::vector<std::unique_ptr<QueltZelNicConfig2>> GetZelNicConfigs() override {
    std::vector<std::unique_ptr<QueltZelNicConfig2>> interfaces;
    for (const json& values : Answer("GetZelNicConfigs").List("interfaces")) {
      interfaces.push_back(std::make_unique<ScriptedInterface>(values, interfaces.size()));
    }
    return interfaces;
  }

  void ShallowRekeyDisks(const std::vector<std::string>& disks, bool flag) override {
    Answer("ShallowRekeyDisks", disks, flag);
  }

  std::uint8_t GetOqtaMaxDiskVersion() override {
    return Answer("GetOqtaMaxDiskVersion").Returns<std::uint8_t>(0);
  }

  void AddUnicastAgentEntry(const std::string& uuid, std::int32_t nodeType, bool isSupportUnicast,
                            const QueltIpAddress& address, std::int32_t port, bool interfaceGiven,
                            const std::string& interface, const std::string& hostname,
                            const std::string& thumbprint,
                            const std::string& subClusterUuid) override {
    Answer("AddUnicastAgentEntry", uuid, nodeType, isSupportUnicast, address, port, interfaceGiven,
           interface, hostname, thumbprint, subClusterUuid);
  }

  void RemoveUnicastAgentEntry(const std::string& uuid, const QueltIpAddress& address,
                               std::int32_t port, std::int32_t nodeType, bool replaceWitness,
                               const std::string& text) override {
    Answer("RemoveUnicastAgentEntry", uuid, address, port, nodeType, replaceWitness, text);
  }

  void SetUnicastAgentInConfigStore(const std::string& uuid, std::int32_t nodeType,
                                    bool isSupportUnicast, const QueltIpAddress& address,
                                    std::int32_t port, const std::string& interface,
                                    const std::string& hostname, const std::string& thumbprint,
                                    const std::string& subClusterUuid) override {
    Answer("SetUnicastAgentInConfigStore", uuid, nodeType, isSupportUnicast, address, port,
           interface, hostname, thumbprint, subClusterUuid);
  }

  std::shared_ptr<ClusterConfig> GetClusterConfig(bool flag) override {
    const Answer answer("GetClusterConfig", flag);
    if (answer.ReturnsNull()) {
      return nullptr;
    }
    struct RecordedConfig : ClusterConfig, LiveObject {
      ~RecordedConfig() { RecordRelease("~ClusterConfig"); }
    };
    auto config = std::make_shared<RecordedConfig>();
    config->enabled = answer.Returns(false);
    return config;
  }

  void UpgradeDiskGroupFormatVersion(const std::string& diskGroup) override {
    Answer("UpgradeDiskGroupFormatVersion", diskGroup);
  }

  std::string GetClusterId() override { return Answer("GetClusterId").Returns(std::string()); }

  void SetHostEncryptionEnabled(bool enabled, bool flag) override {
    Answer("SetHostEncryptionEnabled", enabled, flag);
  }

  std::shared_ptr<std::vector<KmsServerInfo>> GetKmsInfoList(bool flag) override {
    const Answer answer("GetKmsInfoList", flag);
    if (answer.ReturnsNull()) {
      return nullptr;
    }
    auto servers = std::make_shared<std::vector<KmsServerInfo>>();
    for (const json& given : answer.List("servers")) {
      KmsServerInfo& server = servers->emplace_back();
      ReadMembers(given, "name", server.name, "kmipClusterId", server.kmipClusterId, "userName",
                  server.userName, "password", server.password, "address", server.address,
                  "protocol", server.protocol, "proxyAddress", server.proxyAddress, "port",
                  server.port, "proxyPort", server.proxyPort, "reconnect", server.reconnect, "nbio",
                  server.nbio, "timeout", server.timeout);
    }
    return servers;
  }

  std::string GetConfiguredKekId() override {
    return Answer("GetConfiguredKekId").Returns(std::string());
  }
  std::string GetConfiguredHostKeyId() override {
    return Answer("GetConfiguredHostKeyId").Returns(std::string());
  }
  void PersistKekId(const std::string& kekId) override { Answer("PersistKekId", kekId); }
  void PersistHostKeyId(const std::string& hostKeyId) override {
    Answer("PersistHostKeyId", hostKeyId);
  }

  bool QueryKmsStatus(const std::string& kmipClusterId, const std::string& keyId, int seconds,
                      std::string& reason) override {
    return Answer("QueryKmsStatus", kmipClusterId, keyId, seconds)
        .Out("reason", reason)
        .Returns(true);
  }

  void GetT1DiskInfoMap(
      std::unordered_map<std::string, std::unordered_map<std::string, int>>& facts) override {
    for (const json& disk : Answer("GetT1DiskInfoMap").List("disks")) {
      auto& factsOfDisk = facts[ToBytes(disk.at(0))];
      for (const json& fact : disk.at(1)) {
        factsOfDisk.emplace(ToBytes(fact.at(0)), fact.at(1).get<int>());
      }
    }
  }

  void GetUnicastAgentList(std::vector<QueltUnicastAddressInfo>& agents,
                           bool includeExtra) override {
    for (const json& given :
         Answer("GetUnicastAgentList", includeExtra, agents.size()).List("agents")) {
      QueltUnicastAddressInfo& agent = agents.emplace_back();
      ReadMembers(given, "uuid", agent.uuid, "nodeType", agent.nodeType, "isSupportUnicast",
                  agent.isSupportUnicast, "address", agent.address, "port", agent.port, "zelnic",
                  agent.zelnic, "hostname", agent.hostname, "thumbprint", agent.thumbprint,
                  "subClusterUuid", agent.subClusterUuid);
    }
  }

  void GetUnwrappedDekForDisk(const std::string& disk, unsigned char* dek) override {
    Answer("GetUnwrappedDekForDisk", disk).Out("dek", dek);
  }
};

}  // namespace

}  // namespace scripted

using scripted::Answer;

namespace HostCtl::Quelt {

QueltPlugin::QueltPlugin() { ++scripted::liveObjects; }
QueltPlugin::~QueltPlugin() {
  --scripted::liveObjects;
  scripted::RecordRelease("~QueltPlugin");
}

std::unique_ptr<HostSystem> QueltPlugin::GetHostSystem() {
  const Answer answer("GetHostSystem");
  return answer.ReturnsNull() ? nullptr : std::make_unique<scripted::ScriptedHostSystem>();
}

}  // namespace HostCtl::Quelt

std::unique_ptr<HostCtl::Quelt::QueltPlugin> HostCtl::QueltPluginFactory::GetQueltPlugin() {
  const Answer answer("GetQueltPlugin");
  return answer.ReturnsNull() ? nullptr : std::make_unique<Quelt::QueltPlugin>();
}
