// The scenario key "interfaces".
#include <limits>

#include "embedded_host/network/sections.h"

namespace quelt {

using nlohmann::json;

namespace {

constexpr std::string_view kKeys[] = {"interfaces"};

/// An optional 32-bit member.
std::int64_t NumberOr(const Node& node, const char* key, std::int32_t missing) {
  using Limits = std::numeric_limits<std::int32_t>;
  return node.IntegerOr(key, missing, Limits::min(), Limits::max());
}

std::string AddressOr(const Node& node, const char* key, const char* missing) {
  const std::optional<Node> address = node.Find(key);
  return address ? address->Address() : missing;
}

void Load(Connection& db, const Node& root) {
  const auto interfaces = root.Find("interfaces");
  if (!interfaces) {
    return;
  }
  for (const Node& node : interfaces->Items()) {
    node.AllowOnly({"name", "uuid", "trafficType", "agentGroup", "agentV6Group", "agentPort",
                    "masterGroup", "masterV6Group", "masterPort", "unicastPort", "ttl"});
    db.Execute(
        "INSERT INTO zelnic (name, uuid, traffic_type, agent_group, agent_v6_group, master_group,"
        " master_v6_group, agent_port, master_port, unicast_port, ttl)"
        " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
        node.At("name").Text(), node.TextOr("uuid", ""), node.TextOr("trafficType", "quelt"),
        AddressOr(node, "agentGroup", "239.77.1.1"), AddressOr(node, "agentV6Group", "ff15::77:1"),
        AddressOr(node, "masterGroup", "239.77.1.2"),
        AddressOr(node, "masterV6Group", "ff15::77:2"), NumberOr(node, "agentPort", 12341),
        NumberOr(node, "masterPort", 12342), NumberOr(node, "unicastPort", 12321),
        NumberOr(node, "ttl", 16));
  }
}

void Dump(Connection& db, bool, json& document) {
  json interfaces = json::array();
  Rows rows = db.Query(
      "SELECT name, uuid, traffic_type, agent_group, agent_v6_group, master_group,"
      " master_v6_group, agent_port, master_port, unicast_port, ttl FROM zelnic ORDER BY id");
  while (rows.Next()) {
    interfaces.push_back({{"name", rows.Text(0)},
                          {"uuid", rows.Text(1)},
                          {"trafficType", rows.Text(2)},
                          {"agentGroup", rows.Text(3)},
                          {"agentV6Group", rows.Text(4)},
                          {"masterGroup", rows.Text(5)},
                          {"masterV6Group", rows.Text(6)},
                          {"agentPort", rows.Integer(7)},
                          {"masterPort", rows.Integer(8)},
                          {"unicastPort", rows.Integer(9)},
                          {"ttl", rows.Integer(10)}});
  }
  document["interfaces"] = std::move(interfaces);
}

}  // namespace

const Section kNetworkSection = {kKeys, Load, Dump};

}  // namespace quelt
