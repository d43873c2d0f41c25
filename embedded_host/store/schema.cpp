#include "embedded_host/store/schema.h"

#include <string>
#include <vector>

#include "embedded_host/store/failure.h"
#include "embedded_host/store/transaction.h"

namespace quelt {

namespace {

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

-- What processes keep at hand (store/switches.h): journal, csd, metadataNode.
CREATE TABLE switch (
  name  TEXT PRIMARY KEY,
  is_on INTEGER NOT NULL
) WITHOUT ROWID;

-- Operations that misbehave on purpose.
CREATE TABLE fault (
  operation TEXT PRIMARY KEY,
  kind      TEXT NOT NULL,
  message   TEXT NOT NULL,
  delay     INTEGER NOT NULL,  -- milliseconds
  after     INTEGER NOT NULL,  -- calls that still go well before it begins
  times     INTEGER            -- calls that it still strikes; NULL: until healed
) WITHOUT ROWID;
)sql";

constexpr const char* kSteps[] = {kTables};

int Version(Connection& db) { return db.database().execAndGet("PRAGMA user_version").getInt(); }

}  // namespace

SchemaSteps AllSteps() { return kSteps; }

void BringUpToDate(Connection& db, SchemaSteps steps) {
  const int newest = static_cast<int>(steps.size());
  if (Version(db) == newest) {
    return;
  }
  Transaction transaction(db, Transaction::Kind::kWrite);
  // Another process may have been quicker.
  const int version = Version(db);
  if (version < 0 || version > newest) {
    ThrowStoreFailure(db.place().path, "made by a newer host library (schema version " +
                                           std::to_string(version) + ", this one knows " +
                                           std::to_string(newest) + ")");
  }
  for (const char* const step : steps.subspan(static_cast<std::size_t>(version))) {
    db.database().exec(step);
  }
  db.database().exec("PRAGMA user_version = " + std::to_string(newest));
  transaction.Commit();
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
