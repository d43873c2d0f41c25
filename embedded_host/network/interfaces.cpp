// The storage network interfaces, and the conversion of address texts.
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/text/addresses.h"
#include "platform/quelt_util.h"

namespace quelt {

namespace {

/// A copy of an interface's row.
struct StoredInterface final : QueltZelNicConfig2 {
  std::string name, uuid, trafficType;
  QueltIpAddress agentGroup, agentV6Group, masterGroup, masterV6Group;
  std::int32_t agentPort = 0, masterPort = 0, unicastPort = 0, ttl = 0;

  std::string GetZelnicName() const override { return name; }
  std::string GetIfaceUuid() const override { return uuid; }
  QueltIpAddress GetAgentMulticastGroup() const override { return agentGroup; }
  QueltIpAddress GetMasterMulticastGroup() const override { return masterGroup; }
  std::int32_t GetAgentMulticastPort() const override { return agentPort; }
  std::int32_t GetMasterMulticastPort() const override { return masterPort; }
  std::int32_t GetHostUnicastPort() const override { return unicastPort; }
  std::int32_t GetMulticastTTL() const override { return ttl; }
  QueltIpAddress GetAgentV6MulticastGroup() const override { return agentV6Group; }
  QueltIpAddress GetMasterV6MulticastGroup() const override { return masterV6Group; }
  std::string GetTrafficType() const override { return trafficType; }
};

QueltIpAddress ReadAddress(const Rows& rows, int column) {
  const std::string text = rows.Text(column);
  QueltIpAddress address;
  if (!ParseAddress(text, address)) {
    throw HostCtl::Lib::Quelt::QueltCtlException("Interface \"" + rows.Text(0) + "\": \"" + text +
                                                 "\" is not an address");
  }
  return address;
}

std::int32_t ReadNumber(const Rows& rows, int column) {
  return static_cast<std::int32_t>(rows.Integer(column));
}

}  // namespace

std::vector<std::unique_ptr<QueltZelNicConfig2>> EmbeddedHostSystem::GetZelNicConfigs() {
  return Operation("GetZelNicConfigs").Read([](Connection& db) {
    std::vector<std::unique_ptr<QueltZelNicConfig2>> interfaces;
    Rows rows = db.Query(
        "SELECT name, uuid, traffic_type, agent_group, agent_v6_group, master_group,"
        " master_v6_group, agent_port, master_port, unicast_port, ttl FROM zelnic ORDER BY id");
    while (rows.Next()) {
      auto interface = std::make_unique<StoredInterface>();
      interface->name = rows.Text(0);
      interface->uuid = rows.Text(1);
      interface->trafficType = rows.Text(2);
      interface->agentGroup = ReadAddress(rows, 3);
      interface->agentV6Group = ReadAddress(rows, 4);
      interface->masterGroup = ReadAddress(rows, 5);
      interface->masterV6Group = ReadAddress(rows, 6);
      interface->agentPort = ReadNumber(rows, 7);
      interface->masterPort = ReadNumber(rows, 8);
      interface->unicastPort = ReadNumber(rows, 9);
      interface->ttl = ReadNumber(rows, 10);
      interfaces.push_back(std::move(interface));
    }
    return interfaces;
  });
}

}  // namespace quelt

namespace ZelCtl::Quelt {

bool QueltUtil::BuildQueltIPAddress(const std::string& text,
                                    HostCtl::Quelt::QueltIpAddress& address) {
  return quelt::Operation("BuildQueltIPAddress", {{"text", text}})
      .Run([&] { return quelt::ParseAddress(text, address); }, quelt::FailureAnswer(false));
}

}  // namespace ZelCtl::Quelt
