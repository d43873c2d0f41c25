#include "embedded_host/store/schema.h"

#include <string>
#include <vector>

#include "embedded_host/store/failure.h"
#include "embedded_host/store/transaction.h"

namespace quelt {

namespace {

// The two lists of agents have the same columns.
#define AGENT_COLUMNS                           \
  "\n"                                          \
  "  id                 INTEGER PRIMARY KEY,\n" \
  "  uuid               TEXT NOT NULL,\n"       \
  "  address            TEXT NOT NULL,\n"       \
  "  port               INTEGER NOT NULL,\n"    \
  "  node_type          INTEGER NOT NULL,\n"    \
  "  is_support_unicast INTEGER NOT NULL,\n"    \
  "  interface_given    INTEGER NOT NULL,\n"    \
  "  zelnic             TEXT NOT NULL,\n"       \
  "  hostname           TEXT NOT NULL,\n"       \
  "  thumbprint         TEXT NOT NULL,\n"       \
  "  sub_cluster_uuid   TEXT NOT NULL,\n"       \
  "  UNIQUE (uuid, address, port)\n"

// SQLite stores the comments inside of a CREATE statement, and UpgradeSchema compares them: don't
// change those.
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

-- Flags that processes cache (operation/switches.h): journal, csd, metadataNode.
CREATE TABLE switch (
  name  TEXT PRIMARY KEY,
  is_on INTEGER NOT NULL
) WITHOUT ROWID;

-- Injected faults (operation/faults.h), by operation.
CREATE TABLE fault (
  operation TEXT PRIMARY KEY,
  kind      TEXT NOT NULL,
  message   TEXT NOT NULL,
  delay     INTEGER NOT NULL,  -- milliseconds
  after     INTEGER NOT NULL,  -- calls that still go well before it begins
  times     INTEGER            -- calls that it still strikes; NULL: until healed
) WITHOUT ROWID;

-- Storage objects. Identifiers are 16 bytes, sizes are in bytes.
CREATE TABLE object (
  uuid          BLOB PRIMARY KEY,
  cid           BLOB NOT NULL,
  friendly_name TEXT UNIQUE,
  path          TEXT NOT NULL,
  ha_metadata   TEXT NOT NULL,
  policy        TEXT NOT NULL,
  alloc_type    INTEGER NOT NULL,
  size          INTEGER NOT NULL,
  capabilities  INTEGER NOT NULL,
  class         INTEGER NOT NULL,
  group_uuid    BLOB REFERENCES object (uuid) ON DELETE SET NULL,
  ext_attrs     INTEGER NOT NULL,
  accessible    INTEGER NOT NULL,
  allocated     INTEGER NOT NULL
) WITHOUT ROWID;
CREATE INDEX object_group ON object (group_uuid) WHERE group_uuid IS NOT NULL;

-- The host's space, in bytes: one row. Triggers maintain the last two columns, so that creating an
-- object does not read all objects.
CREATE TABLE space (
  physical_capacity  INTEGER NOT NULL,
  dedup_metadata     INTEGER NOT NULL,
  transient          INTEGER NOT NULL,
  physical_transient INTEGER NOT NULL,
  objects            INTEGER NOT NULL DEFAULT 0,
  allocated          INTEGER NOT NULL DEFAULT 0
);
CREATE TRIGGER object_takes_space AFTER INSERT ON object BEGIN
  UPDATE space SET objects = objects + 1, allocated = allocated + NEW.allocated;
END;
CREATE TRIGGER object_gives_space_back AFTER DELETE ON object BEGIN
  UPDATE space SET objects = objects - 1, allocated = allocated - OLD.allocated;
END;

-- Disk groups and first-tier disks with their facts.
CREATE TABLE disk_group (
  name           TEXT PRIMARY KEY,
  format_version INTEGER NOT NULL
) WITHOUT ROWID;
CREATE TABLE t1_disk (
  name       TEXT PRIMARY KEY,
  disk_group TEXT REFERENCES disk_group (name)
) WITHOUT ROWID;
CREATE INDEX t1_disk_by_group ON t1_disk (disk_group);
CREATE TABLE t1_disk_fact (
  disk  TEXT NOT NULL REFERENCES t1_disk (name),
  fact  TEXT NOT NULL,
  value INTEGER NOT NULL,
  PRIMARY KEY (disk, fact)
) WITHOUT ROWID;

-- The key cache: KEKs, and DEKs under their disk's UUID text.
CREATE TABLE cached_key (
  id        TEXT PRIMARY KEY,
  attribute TEXT NOT NULL,
  key       BLOB NOT NULL
);

-- Disks with their encryption records (platform/encryption.h), 512 bytes each.
CREATE TABLE disk (
  position INTEGER PRIMARY KEY,
  name     TEXT NOT NULL UNIQUE,
  uuid     BLOB NOT NULL UNIQUE,
  metadata BLOB NOT NULL,
  aws      BLOB NOT NULL
);

-- Key management servers: "" and -1 stand for "not set".
CREATE TABLE kms_server (
  position        INTEGER PRIMARY KEY,
  name            TEXT NOT NULL,
  kmip_cluster_id TEXT NOT NULL,
  user_name       TEXT NOT NULL,
  password        TEXT NOT NULL,
  address         TEXT NOT NULL,
  protocol        TEXT NOT NULL,
  proxy_address   TEXT NOT NULL,
  port            INTEGER NOT NULL,
  proxy_port      INTEGER NOT NULL,
  reconnect       INTEGER NOT NULL,
  nbio            INTEGER NOT NULL,
  timeout         INTEGER NOT NULL
);

-- The keys that a KMIP cluster holds.
CREATE TABLE kms_key (
  kmip_cluster_id TEXT NOT NULL,
  key_id          TEXT NOT NULL,
  PRIMARY KEY (key_id, kmip_cluster_id)
) WITHOUT ROWID;

-- Passwords for KEKs; key_id is made of the other two.
CREATE TABLE kms_password (
  key_id          TEXT PRIMARY KEY,
  kek_id          TEXT NOT NULL,
  kmip_cluster_id TEXT NOT NULL,
  password        TEXT NOT NULL
) WITHOUT ROWID;

-- Trusted certificates.
CREATE TABLE trusted_certificate (
  position    INTEGER PRIMARY KEY,
  fingerprint TEXT NOT NULL UNIQUE,  -- SHA-256
  pem         TEXT NOT NULL
);

-- The cloud KMS's answers, by text.
CREATE TABLE cloud_kms (
  text  TEXT PRIMARY KEY,
  good  INTEGER NOT NULL,
  error TEXT NOT NULL
) WITHOUT ROWID;

-- Unicast agents: the membership list, and the agents recorded in the configuration store. Ordered
-- by id.
CREATE TABLE agent ()sql" AGENT_COLUMNS R"sql();
CREATE TABLE recorded_agent ()sql" AGENT_COLUMNS R"sql();

-- Whether a cluster runs in unicast mode.
CREATE TABLE unicast_mode (
  cluster TEXT PRIMARY KEY,
  is_on   INTEGER NOT NULL
) WITHOUT ROWID;

-- Storage network interfaces, in the host's order.
CREATE TABLE zelnic (
  id              INTEGER PRIMARY KEY,
  name            TEXT NOT NULL,
  uuid            TEXT NOT NULL,
  traffic_type    TEXT NOT NULL,
  agent_group     TEXT NOT NULL,
  agent_v6_group  TEXT NOT NULL,
  master_group    TEXT NOT NULL,
  master_v6_group TEXT NOT NULL,
  agent_port      INTEGER NOT NULL,
  master_port     INTEGER NOT NULL,
  unicast_port    INTEGER NOT NULL,
  ttl             INTEGER NOT NULL
);

-- The journal of operations (operation/journal.h).
CREATE TABLE journal (
  number    INTEGER PRIMARY KEY,
  time      INTEGER NOT NULL,  -- microseconds since 1970
  process   INTEGER NOT NULL,
  operation TEXT NOT NULL,
  arguments TEXT NOT NULL,     -- a JSON object
  outcome   TEXT NOT NULL,
  message   TEXT NOT NULL,
  duration  INTEGER NOT NULL   -- microseconds
);
)sql";

constexpr const char* kClientCertificates = R"sql(
-- The client certificate for the servers of a KMIP cluster; PEM texts.
CREATE TABLE kms_client (
  kmip_cluster_id TEXT PRIMARY KEY,
  certificates    TEXT NOT NULL,  -- the client's own first
  key             TEXT NOT NULL   -- "": left out of the scenario
) WITHOUT ROWID;
)sql";

constexpr const char* kSeveralFaults = R"sql(
-- Injected faults (operation/faults.h): an operation may have several, in the order of position.
CREATE TABLE injected_fault (
  operation TEXT NOT NULL,
  position  INTEGER NOT NULL,
  kind      TEXT NOT NULL,
  message   TEXT NOT NULL,
  delay     INTEGER NOT NULL,  -- milliseconds
  after     INTEGER NOT NULL,  -- calls before the first that the fault applies to
  times     INTEGER,           -- calls that it still applies to; NULL: until healed
  PRIMARY KEY (operation, position)
) WITHOUT ROWID;
INSERT INTO injected_fault SELECT operation, 0, kind, message, delay, after, times FROM fault;
DROP TABLE fault;

-- The thread of an operation: the kernel's id of the thread; 0 in older records.
ALTER TABLE journal ADD COLUMN thread INTEGER NOT NULL DEFAULT 0;
)sql";

constexpr const char* kSteps[] = {kTables, kClientCertificates, kSeveralFaults};

int Version(Connection& db) { return db.database().execAndGet("PRAGMA user_version").getInt(); }

/// All definitions in a database, as text.
std::string Definitions(SQLite::Database& db) {
  return db
      .execAndGet(
          "SELECT coalesce(group_concat(sql, ';'), '') FROM (SELECT sql FROM sqlite_schema ORDER "
          "BY type, name)")
      .getString();
}

/// The definitions that the steps create, from a database in memory.
std::string DefinitionsOf(SchemaSteps steps) {
  SQLite::Database database(kInMemory, SQLite::OPEN_READWRITE);
  for (const char* const step : steps) {
    database.exec(step);
  }
  return Definitions(database);
}

void RequireDefinitions(Connection& db, SchemaSteps steps) {
  static const std::string newest = DefinitionsOf(kSteps);
  const bool isNewest = steps.data() == kSteps && steps.size() == std::size(kSteps);
  if (Definitions(db.database()) != (isNewest ? newest : DefinitionsOf(steps))) {
    throw DamagedState(db.place().path, "its tables are not those of a Quelt host");
  }
}

}  // namespace

SchemaSteps AllSteps() { return kSteps; }

void UpgradeSchema(Connection& db, SchemaSteps steps) {
  const int newest = static_cast<int>(steps.size());
  if (Version(db) == newest) {
    RequireDefinitions(db, steps);
    return;
  }
  Transaction transaction(db, Transaction::Kind::kWrite);
  // Another process may have upgraded the file since.
  const int version = Version(db);
  if (version < 0 || version > newest) {
    ThrowStoreFailure(db.place().path, "made by a newer host library (schema version " +
                                           std::to_string(version) + ", this one knows " +
                                           std::to_string(newest) + ")");
  }
  RequireDefinitions(db, steps.first(static_cast<std::size_t>(version)));
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
