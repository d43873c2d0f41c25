#include "embedded_host/unicast/agents.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace quelt {

namespace {

/// A statement that is built at compile time. A connection identifies statements by their address.
class Sql {
 public:
  consteval Sql& operator<<(std::string_view part) {
    std::copy(part.begin(), part.end(), text_.begin() + size_);
    size_ += static_cast<std::ptrdiff_t>(part.size());
    return *this;
  }
  constexpr const char* text() const { return text_.data(); }

 private:
  std::array<char, 600> text_{};
  std::ptrdiff_t size_ = 0;
};

constexpr std::string_view kFixedColumns =
    "uuid, address, port, node_type, is_support_unicast, interface_given";
constexpr int kFirstTextColumn = 6;

consteval Sql SelectAgents(std::string_view table, std::string_view end) {
  Sql sql;
  sql << "SELECT " << kFixedColumns;
  for (const AgentTextField& field : kAgentTextFields) {
    sql << ", " << field.column;
  }
  return sql << " FROM " << table << " AS listed " << end;
}

consteval Sql InsertInto(std::string_view table) {
  Sql sql;
  sql << "INSERT INTO " << table << " (" << kFixedColumns;
  for (const AgentTextField& field : kAgentTextFields) {
    sql << ", " << field.column;
  }
  sql << ") VALUES (?, ?, ?, ?, ?, ?";
  for (std::size_t i = 0; i < std::size(kAgentTextFields); ++i) {
    sql << ", ?";
  }
  return sql << ") ON CONFLICT ";
}

consteval Sql InsertUnlessPresent(std::string_view table) {
  return InsertInto(table) << "DO NOTHING";
}

consteval Sql InsertOrUpdate(std::string_view table) {
  Sql sql = InsertInto(table);
  sql << "(uuid, address, port) DO UPDATE SET node_type = excluded.node_type,"
         " is_support_unicast = excluded.is_support_unicast,"
         " interface_given = excluded.interface_given";
  for (const AgentTextField& field : kAgentTextFields) {
    sql << ", " << field.column << " = excluded." << field.column;
  }
  return sql;
}

constexpr Sql kAllOfMembership = SelectAgents("agent", "ORDER BY id");
constexpr Sql kAllRecorded = SelectAgents("recorded_agent", "ORDER BY id");
constexpr Sql kExtra =
    SelectAgents("recorded_agent",
                 "WHERE NOT EXISTS (SELECT 1 FROM agent WHERE agent.uuid = listed.uuid"
                 " AND agent.address = listed.address AND agent.port = listed.port) ORDER BY id");
constexpr Sql kInsertMember = InsertUnlessPresent("agent");
constexpr Sql kInsertRecorded = InsertUnlessPresent("recorded_agent");
constexpr Sql kPutRecorded = InsertOrUpdate("recorded_agent");

int Insert(Connection& db, const Sql& sql, const Agent& agent) {
  return [&]<std::size_t... Field>(std::index_sequence<Field...>) {
    return db.Execute(sql.text(), agent.uuid, agent.address, agent.port,
                      static_cast<std::int64_t>(agent.nodeType), agent.isSupportUnicast,
                      agent.interfaceGiven, agent.*kAgentTextFields[Field].member...);
  }(std::make_index_sequence<std::size(kAgentTextFields)>());
}

void ReadListed(const Rows& rows, QueltUnicastAddressInfo& agent) {
  agent.uuid = rows.Text(0);
  agent.address = rows.Text(1);
  agent.port = static_cast<std::int32_t>(rows.Integer(2));
  agent.nodeType = static_cast<UnicastNodeType>(rows.Integer(3));
  agent.isSupportUnicast = rows.Boolean(4);
  int column = kFirstTextColumn;
  for (const AgentTextField& field : kAgentTextFields) {
    agent.*field.member = rows.Text(column++);
  }
}

void AppendRows(Rows rows, std::vector<QueltUnicastAddressInfo>& agents) {
  while (rows.Next()) {
    ReadListed(rows, agents.emplace_back());
  }
}

}  // namespace

std::string AgentName(const Agent& agent) {
  return "Unicast agent \"" + agent.uuid + "\" at " + agent.address + " port " +
         std::to_string(agent.port);
}

std::optional<UnicastNodeType> FindAgentType(Connection& db, const Agent& agent) {
  Rows rows = db.Query("SELECT node_type FROM agent WHERE uuid = ? AND address = ? AND port = ?",
                       agent.uuid, agent.address, agent.port);
  return rows.Next() ? std::optional(static_cast<UnicastNodeType>(rows.Integer(0))) : std::nullopt;
}

bool InsertAgent(Connection& db, AgentList list, const Agent& agent) {
  return Insert(db, list == AgentList::kMembership ? kInsertMember : kInsertRecorded, agent) == 1;
}

void PutRecordedAgent(Connection& db, const Agent& agent) { Insert(db, kPutRecorded, agent); }

void DeleteAgent(Connection& db, AgentList list, const Agent& agent) {
  db.Execute(list == AgentList::kMembership
                 ? "DELETE FROM agent WHERE uuid = ? AND address = ? AND port = ?"
                 : "DELETE FROM recorded_agent WHERE uuid = ? AND address = ? AND port = ?",
             agent.uuid, agent.address, agent.port);
}

std::vector<Agent> AllAgents(Connection& db, AgentList list) {
  std::vector<Agent> agents;
  Rows rows =
      db.Query(list == AgentList::kMembership ? kAllOfMembership.text() : kAllRecorded.text());
  while (rows.Next()) {
    Agent& agent = agents.emplace_back();
    ReadListed(rows, agent);
    agent.nodeType = static_cast<UnicastNodeType>(rows.Index(3, kNodeTypes));
    agent.interfaceGiven = rows.Boolean(5);
  }
  return agents;
}

void AppendAgents(Connection& db, bool includeExtra, std::vector<QueltUnicastAddressInfo>& agents) {
  {
    // Reserve first: a list may have a million agents.
    Rows count = db.Query("SELECT count(*) FROM agent");
    count.Next();
    agents.reserve(agents.size() + static_cast<std::size_t>(count.Integer(0)));
  }
  AppendRows(db.Query(kAllOfMembership.text()), agents);
  if (includeExtra) {
    AppendRows(db.Query(kExtra.text()), agents);
  }
}

}  // namespace quelt
