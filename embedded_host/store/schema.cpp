#include "embedded_host/store/schema.h"

#include <string>
#include <vector>

namespace quelt {

namespace {

/// The present version, kept in the file as its user_version.
constexpr int kSchemaVersion = 1;

constexpr const char* kTables = R"sql(
-- Single settings: hardwareSku, iloFirst, iloSecond, kekId, hostKeyId, ...
CREATE TABLE setting (
  name  TEXT PRIMARY KEY,
  value TEXT NOT NULL
) WITHOUT ROWID;

-- Settings of a service, one row for each key: "perfsvc", "timeMachine".
CREATE TABLE service_setting (
  service TEXT NOT NULL,
  key     TEXT NOT NULL,
  value   TEXT NOT NULL,
  PRIMARY KEY (service, key)
) WITHOUT ROWID;
)sql";

}  // namespace

bool CreateTables(Connection& db) {
  if (db.database().execAndGet("PRAGMA user_version").getInt() != 0) {
    return false;
  }
  db.database().exec(kTables);
  db.database().exec("PRAGMA user_version = " + std::to_string(kSchemaVersion));
  return true;
}

void ClearTables(Connection& db) {
  db.database().exec("PRAGMA defer_foreign_keys = ON");
  std::vector<std::string> tables;
  {
    Rows rows = db.Query(
        "SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite!_%' "
        "ESCAPE '!'");
    while (rows.Next()) {
      tables.push_back(rows.Text(0));
    }
  }
  for (const std::string& table : tables) {
    db.database().exec("DELETE FROM \"" + table + "\"");
  }
}

}  // namespace quelt
