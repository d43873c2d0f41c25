#include "embedded_host/unicast/agents.h"

namespace quelt {

using HostCtl::Quelt::UnicastNodeType;
using HostCtl::Quelt::QueltInfo::QueltUnicastAddressInfo;

namespace {

// Statements are literals, one for each list.
#define INSERT_INTO(table)                                                                   \
  "INSERT INTO " table                                                                       \
  " (uuid, address, port, node_type, is_support_unicast, interface_given, zelnic, hostname," \
  " thumbprint, sub_cluster_uuid) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"
#define DELETE_FROM(table) "DELETE FROM " table " WHERE uuid = ? AND address = ? AND port = ?"
#define SELECT_FROM(table)                                                                   \
  "SELECT uuid, node_type, is_support_unicast, address, port, zelnic, hostname, thumbprint," \
  " sub_cluster_uuid, interface_given FROM " table " AS listed"

constexpr const char* kAllOfMembership = SELECT_FROM("agent") " ORDER BY id";
constexpr const char* kAllRecorded = SELECT_FROM("recorded_agent") " ORDER BY id";
constexpr const char* kExtra = SELECT_FROM("recorded_agent")
    " WHERE NOT EXISTS (SELECT 1 FROM agent WHERE agent.uuid = listed.uuid"
    " AND agent.address = listed.address AND agent.port = listed.port) ORDER BY id";

int Run(Connection& db, const char* sql, const Agent& agent) {
  return db.Execute(sql, agent.key.uuid, agent.key.address, agent.key.port, agent.nodeType,
                    agent.isSupportUnicast, agent.interfaceGiven, agent.interface, agent.hostname,
                    agent.thumbprint, agent.subClusterUuid);
}

void AppendRows(Rows rows, std::vector<QueltUnicastAddressInfo>& agents) {
  while (rows.Next()) {
    QueltUnicastAddressInfo& agent = agents.emplace_back();
    agent.uuid = rows.Text(0);
    agent.nodeType = static_cast<UnicastNodeType>(rows.Integer(1));
    agent.isSupportUnicast = rows.Boolean(2);
    agent.address = rows.Text(3);
    agent.port = static_cast<std::int32_t>(rows.Integer(4));
    agent.zelnic = rows.Text(5);
    agent.hostname = rows.Text(6);
    agent.thumbprint = rows.Text(7);
    agent.subClusterUuid = rows.Text(8);
  }
}

}  // namespace

std::string AgentKey::Name() const {
  return "Unicast agent \"" + uuid + "\" at " + address + " port " + std::to_string(port);
}

std::optional<std::int64_t> FindAgentType(Connection& db, const AgentKey& key) {
  Rows rows = db.Query("SELECT node_type FROM agent WHERE uuid = ? AND address = ? AND port = ?",
                       key.uuid, key.address, key.port);
  return rows.Next() ? std::optional(rows.Integer(0)) : std::nullopt;
}

bool InsertAgent(Connection& db, AgentList list, const Agent& agent) {
  return Run(db,
             list == AgentList::kMembership
                 ? INSERT_INTO("agent") " ON CONFLICT DO NOTHING"
                 : INSERT_INTO("recorded_agent") " ON CONFLICT DO NOTHING",
             agent) == 1;
}

void PutRecordedAgent(Connection& db, const Agent& agent) {
  Run(db,
      INSERT_INTO("recorded_agent")
      " ON CONFLICT (uuid, address, port) DO UPDATE SET node_type = excluded.node_type,"
      " is_support_unicast = excluded.is_support_unicast,"
      " interface_given = excluded.interface_given, zelnic = excluded.zelnic,"
      " hostname = excluded.hostname, thumbprint = excluded.thumbprint,"
      " sub_cluster_uuid = excluded.sub_cluster_uuid",
      agent);
}

void DeleteAgent(Connection& db, AgentList list, const AgentKey& key) {
  db.Execute(list == AgentList::kMembership ? DELETE_FROM("agent") : DELETE_FROM("recorded_agent"),
             key.uuid, key.address, key.port);
}

std::vector<Agent> AllAgents(Connection& db, AgentList list) {
  std::vector<Agent> agents;
  Rows rows = db.Query(list == AgentList::kMembership ? kAllOfMembership : kAllRecorded);
  while (rows.Next()) {
    agents.push_back({{rows.Text(0), rows.Text(3), rows.Integer(4)},
                      static_cast<std::int64_t>(rows.Index(1, kNodeTypes)),
                      rows.Boolean(2),
                      rows.Boolean(9),
                      rows.Text(5),
                      rows.Text(6),
                      rows.Text(7),
                      rows.Text(8)});
  }
  return agents;
}

void AppendAgents(Connection& db, bool includeExtra, std::vector<QueltUnicastAddressInfo>& agents) {
  {
    // A list of a million agents is not moved about while it grows.
    Rows count = db.Query("SELECT count(*) FROM agent");
    count.Next();
    agents.reserve(agents.size() + static_cast<std::size_t>(count.Integer(0)));
  }
  AppendRows(db.Query(kAllOfMembership), agents);
  if (includeExtra) {
    AppendRows(db.Query(kExtra), agents);
  }
}

}  // namespace quelt
