// The scenario keys "agents", "recordedAgents" and "cluster".
#include <algorithm>
#include <array>
#include <limits>

#include "embedded_host/store/settings.h"
#include "embedded_host/unicast/agents.h"
#include "embedded_host/unicast/sections.h"

namespace quelt {

using nlohmann::json;

namespace {

constexpr std::string_view kKeys[] = {"agents", "recordedAgents", "cluster"};

struct AgentSection {
  const char* key;
  AgentList list;
};
constexpr AgentSection kAgentSections[] = {{"agents", AgentList::kMembership},
                                           {"recordedAgents", AgentList::kRecorded}};

/// Names of the node types, by code.
constexpr std::string_view kTypes[kNodeTypes] = {"node", "witness", "metadata", "remote"};

UnicastNodeType ReadType(const Node& node) {
  const std::string name = node.Text();
  for (std::size_t code = 0; code < std::size(kTypes); ++code) {
    if (name == kTypes[code]) {
      return static_cast<UnicastNodeType>(code);
    }
  }
  node.Fail("\"node\", \"witness\", \"metadata\" or \"remote\"");
}

constexpr auto kAgentKeys = [] {
  constexpr std::string_view kFixed[] = {"uuid", "type", "isSupportUnicast", "address", "port"};
  std::array<std::string_view, std::size(kFixed) + std::size(kAgentTextFields)> keys;
  std::transform(std::begin(kAgentTextFields), std::end(kAgentTextFields),
                 std::copy(std::begin(kFixed), std::end(kFixed), keys.begin()),
                 [](const AgentTextField& field) { return field.key; });
  return keys;
}();

Agent ReadAgent(const Node& node) {
  node.AllowOnly(kAgentKeys);
  using Limits = std::numeric_limits<std::int32_t>;
  Agent agent;
  agent.uuid = node.At("uuid").Text();
  agent.address = node.At("address").Address();
  agent.port =
      static_cast<std::int32_t>(node.IntegerOr("port", 12321, Limits::min(), Limits::max()));
  agent.nodeType = ReadType(node.At("type"));
  agent.isSupportUnicast = node.BooleanOr("isSupportUnicast", false);
  for (const AgentTextField& field : kAgentTextFields) {
    agent.*field.member = node.TextOr(field.key, "");
  }
  agent.interfaceGiven = node.Find("interface").has_value();
  return agent;
}

json ToJson(const Agent& agent) {
  json record = {{"uuid", agent.uuid},
                 {"type", kTypes[static_cast<std::size_t>(agent.nodeType)]},
                 {"isSupportUnicast", agent.isSupportUnicast},
                 {"address", agent.address},
                 {"port", agent.port}};
  for (const AgentTextField& field : kAgentTextFields) {
    record[field.key] = agent.*field.member;
  }
  if (!agent.interfaceGiven) {
    record.erase("interface");
  }
  return record;
}

void LoadCluster(Connection& db, const Node& cluster) {
  cluster.AllowOnly({"id", "enabled", "unicastModes"});
  PutSetting(db, "clusterId", cluster.At("id").Text());
  PutSetting(db, "clusterEnabled", cluster.BooleanOr("enabled", true) ? "1" : "0");
  if (const auto modes = cluster.Find("unicastModes")) {
    for (const auto& [id, mode] : modes->Members()) {
      db.Execute("INSERT INTO unicast_mode (cluster, is_on) VALUES (?, ?)", id, mode.Boolean());
    }
  }
}

void Load(Connection& db, const Node& root) {
  for (const auto& [key, list] : kAgentSections) {
    if (const auto agents = root.Find(key)) {
      for (const Node& node : agents->Items()) {
        const Agent agent = ReadAgent(node);
        if (!InsertAgent(db, list, agent)) {
          node.Fail("an agent that is not listed before (" + AgentName(agent) + ")");
        }
      }
    }
  }
  if (const auto cluster = root.Find("cluster")) {
    LoadCluster(db, *cluster);
  }
}

void DumpCluster(Connection& db, json& document) {
  const auto id = FindSetting(db, "clusterId");
  if (!id) {
    return;
  }
  json modes = json::object();
  Rows rows = db.Query("SELECT cluster, is_on FROM unicast_mode");
  while (rows.Next()) {
    modes[rows.Text(0)] = rows.Boolean(1);
  }
  document["cluster"] = {{"id", *id},
                         {"enabled", FindSetting(db, "clusterEnabled") == "1"},
                         {"unicastModes", std::move(modes)}};
}

void Dump(Connection& db, bool, json& document) {
  for (const auto& [key, list] : kAgentSections) {
    json agents = json::array();
    for (const Agent& agent : AllAgents(db, list)) {
      agents.push_back(ToJson(agent));
    }
    document[key] = std::move(agents);
  }
  DumpCluster(db, document);
}

}  // namespace

const Section kUnicastSection = {kKeys, Load, Dump};

}  // namespace quelt
