#include "embedded_host/tool/host_snapshot.h"

#include <SQLiteCpp/Backup.h>
#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "embedded_host/crypto/disk.h"
#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/state_file.h"
#include "embedded_host/store/store.h"
#include "embedded_host/text/hexadecimal.h"

namespace quelt {

using nlohmann::json;

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

/// Compares a table of several databases row by row.
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

  /// Selects the rows of `side` that not all databases have, and one of the rows that all have, the
  /// same for all: a list that is not empty must not look empty.
  std::string ChangedRows(const std::string& side, const std::vector<std::string>& all) const {
    return "SELECT * FROM " + side + "." + table_ + " AS a WHERE NOT (" + HasAll(side, all) +
           ") UNION ALL SELECT * FROM (SELECT a.* FROM main." + table_ + " AS a WHERE " +
           HasAll("main", all) + " LIMIT 1)";
  }

 private:
  /// The condition that all databases have the row a of `side`.
  std::string HasAll(const std::string& side, const std::vector<std::string>& all) const {
    std::string condition = "TRUE";
    for (const std::string& other : all) {
      if (other != side) {
        condition.append(" AND EXISTS (SELECT 1 FROM ").append(other).append(".").append(table_);
        condition.append(" AS b WHERE ").append(same_).append(")");
      }
    }
    return condition;
  }

  std::string table_;
  std::string same_;  ///< the condition that rows a and b are equal
};

/// Makes statements that name the table read the result of `select` instead.
void Shadow(Connection& db, const std::string& table, const std::string& select) {
  db.database().exec("DROP VIEW IF EXISTS temp." + table);
  db.database().exec("CREATE TEMP VIEW " + table + " AS " + select);
}

/// The DEKs of the disks of the connection's database, as hexadecimal text, by the disk's name.
/// Disks whose DEK no KEK unwraps are left out.
std::map<std::string, std::string> UnwrappedDeks(Connection& db) {
  std::map<std::string, std::string> deks;
  for (const Disk& disk : AllDisks(db)) {
    Dek dek;
    try {
      UnwrapDiskDek(db, disk, dek);
      deks[disk.name] = HexText(dek.data(), Dek::size());
    } catch (const HostCtl::Lib::Quelt::QueltCtlException&) {
      // Not encrypted, or its KEK is not in the cache.
    }
  }
  return deks;
}

/// In a dump with secrets, replaces each wrapped DEK that has been unwrapped: wrapping the same DEK
/// again gives other bytes.
void ReplaceWrappedDeks(const std::map<std::string, std::string>& deks, json& whole) {
  if (const auto disks = whole.find("disks"); disks != whole.end()) {
    for (json& disk : *disks) {
      const auto dek = deks.find(disk.at("name").get<std::string>());
      if (dek != deks.end() && disk.contains("wrapped")) {
        disk["wrapped"] = {{"unwrapped", dek->second}};
      }
    }
  }
}

/// Dumps the parts of `sides` that differ; a single side completely. Requires a transaction.
std::vector<HostDump> DumpDiffering(Connection& db, const std::vector<std::string>& sides,
                                    bool withSecrets, bool unwrap) {
  const std::vector<std::string> tables =
      Texts(db, "SELECT name FROM main.sqlite_schema WHERE type = 'table'");
  std::vector<HostDump> dumps;
  for (const std::string& side : sides) {
    for (const std::string& table : tables) {
      Shadow(db, table, "SELECT * FROM " + side + "." + table);
    }
    const auto reduce = [&](const std::string& table) {
      if (sides.size() > 1) {
        Shadow(db, table, TableComparison(db, table).ChangedRows(side, sides));
      }
    };
    reduce("disk");
    const auto deks = unwrap ? UnwrappedDeks(db) : std::map<std::string, std::string>();
    for (const std::string_view table : kLargeTables) {
      reduce(std::string(table));
    }
    dumps.push_back(DumpHost(db, withSecrets));
    ReplaceWrappedDeks(deks, dumps.back().whole);
  }
  return dumps;
}

/// Opens the state at `path` and attaches `others` under the names "other1", "other2", ...
template <typename Body>
auto WithAttached(const std::string& path, const std::vector<std::string>& others, Body&& body) {
  const StorePlace place{path};
  const std::unique_ptr<Connection> db = OpenState(place);
  try {
    sqlite3_limit(db->database().getHandle(), SQLITE_LIMIT_ATTACHED,
                  static_cast<int>(others.size()));
    std::vector<std::string> sides = {"main"};
    for (const std::string& other : others) {
      sides.push_back("other" + std::to_string(sides.size()));
      SQLite::Statement attach(db->database(), "ATTACH ? AS " + sides.back());
      attach.bind(1, other);
      attach.exec();
    }
    Transaction transaction(*db, Transaction::Kind::kRead);  // a consistent view
    return std::forward<Body>(body)(*db, sides);
  } catch (const SQLite::Exception& failure) {
    ThrowDatabaseFailure(place, *db, failure);
  }
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
  const std::string current = Store::Instance().path();
  return WithAttached(current, {file_}, [&](Connection& db, const auto& sides) {
    const auto dumps = DumpDiffering(db, sides, withSecrets, false);
    return FindDifferences(dumps[1], dumps[0]);
  });
}

std::vector<HostDump> DumpDifferingParts(const std::string& state,
                                         const std::vector<std::string>& copies) {
  return WithAttached(state, copies, [](Connection& db, const auto& sides) {
    return DumpDiffering(db, sides, false, true);
  });
}

}  // namespace quelt
