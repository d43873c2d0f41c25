#include "embedded_host/tool/host_snapshot.h"

#include <SQLiteCpp/Backup.h>
#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>

#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/state_file.h"
#include "embedded_host/store/store.h"

namespace quelt {

namespace {

/// Tables that may be large. Each row is a list item with a unique name, so that equal rows can be
/// omitted from a comparison.
constexpr std::string_view kLargeTables[] = {"agent", "recorded_agent", "object", "disk",
                                             "cached_key"};

std::vector<std::string> Texts(Connection& db, const std::string& query) {
  std::vector<std::string> texts;
  SQLite::Statement rows(db.database(), query);
  while (rows.executeStep()) {
    texts.push_back(rows.getColumn(0).getString());
  }
  return texts;
}

/// Compares a table of the two databases "main" and "copy" row by row.
class TableComparison {
 public:
  TableComparison(Connection& db, const std::string& table) : table_(table) {
    const std::string columns = "SELECT name FROM pragma_table_info('" + table + "', 'main')";
    for (const std::string& key : Texts(db, columns + " WHERE pk > 0")) {
      same_.append("b.").append(key).append(" = a.").append(key).append(" AND ");
    }
    std::string left;
    std::string right;
    for (const std::string& column : Texts(db, columns)) {
      left += (left.empty() ? "a." : ", a.") + column;
      right += (right.empty() ? "b." : ", b.") + column;
    }
    same_ += "(" + left + ") IS (" + right + ")";
  }

  /// Selects the rows of `side` that `other` does not have, and one of the equal rows, the same for
  /// both sides: a list that is not empty must not look empty.
  std::string ChangedRows(const std::string& side, const std::string& other) const {
    return "SELECT * FROM " + side + "." + table_ + " AS a WHERE NOT EXISTS (SELECT 1 FROM " +
           other + "." + table_ + " AS b WHERE " + same_ +
           ") UNION ALL SELECT * FROM (SELECT a.* FROM main." + table_ + " AS a CROSS JOIN copy." +
           table_ + " AS b ON " + same_ + " LIMIT 1)";
  }

 private:
  std::string table_;
  std::string same_;  ///< the condition that rows a and b are equal
};

/// Makes statements that name the table read the result of `select` instead.
void Shadow(Connection& db, const std::string& table, const std::string& select) {
  db.database().exec("DROP VIEW IF EXISTS temp." + table);
  db.database().exec("CREATE TEMP VIEW " + table + " AS " + select);
}

/// Dumps the differing parts of "copy" and "main". Requires a transaction.
std::pair<HostDump, HostDump> DumpChanged(Connection& db, bool withSecrets) {
  const std::vector<std::string> tables =
      Texts(db, "SELECT name FROM main.sqlite_schema WHERE type = 'table'");
  for (const std::string& table : tables) {
    Shadow(db, table, "SELECT * FROM copy." + table);
  }
  for (const std::string_view table : kLargeTables) {
    const std::string name(table);
    Shadow(db, name, TableComparison(db, name).ChangedRows("copy", "main"));
  }
  HostDump before = DumpHost(db, withSecrets);
  for (const std::string& table : tables) {
    db.database().exec("DROP VIEW temp." + table);
  }
  for (const std::string_view table : kLargeTables) {
    const std::string name(table);
    Shadow(db, name, TableComparison(db, name).ChangedRows("main", "copy"));
  }
  return {std::move(before), DumpHost(db, withSecrets)};
}

}  // namespace

HostSnapshot::HostSnapshot(std::string file) : file_(std::move(file)) {
  Store::Instance().Read([&](Connection& db) {
    SQLite::Database copy(file_, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    copy.exec("PRAGMA synchronous = OFF");
    SQLite::Backup(copy, db.database()).executeStep(-1);
  });
}

std::vector<Difference> HostSnapshot::FindChanges(bool withSecrets) const {
  const StorePlace place{Store::Instance().path()};
  const std::unique_ptr<Connection> db = OpenState(place);
  try {
    sqlite3_limit(db->database().getHandle(), SQLITE_LIMIT_ATTACHED, 1);
    db->Execute("ATTACH ? AS copy", file_);
    Transaction transaction(*db, Transaction::Kind::kRead);  // a consistent view
    const auto [before, after] = DumpChanged(*db, withSecrets);
    return FindDifferences(before, after);
  } catch (const SQLite::Exception& failure) {
    ThrowDatabaseFailure(place, *db, failure);
  }
}

}  // namespace quelt
