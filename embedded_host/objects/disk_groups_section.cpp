// The scenario keys "t1Disks", "diskGroups" and "maxDiskVersion".
#include "embedded_host/objects/sections.h"
#include "embedded_host/store/settings.h"

namespace quelt {

using nlohmann::json;

namespace {

constexpr std::string_view kKeys[] = {"t1Disks", "diskGroups", "maxDiskVersion"};
constexpr std::int64_t kMaxVersion = 255;

void LoadDisks(Connection& db, const Node& disks) {
  for (const auto& [disk, facts] : disks.Members()) {
    db.Execute("INSERT INTO t1_disk (name) VALUES (?)", disk);
    for (const auto& [fact, value] : facts.Members()) {
      db.Execute("INSERT INTO t1_disk_fact (disk, fact, value) VALUES (?, ?, ?)", disk, fact,
                 value.Integer(std::numeric_limits<std::int32_t>::min(),
                               std::numeric_limits<std::int32_t>::max()));
    }
  }
}

void LoadGroup(Connection& db, const Node& group) {
  group.AllowOnly({"name", "formatVersion", "t1Disks"});
  const Node name = group.At("name");
  if (db.Query("SELECT 1 FROM disk_group WHERE name = ?", name.Text()).Next()) {
    name.Fail("a name that no other disk group has");
  }
  db.Execute("INSERT INTO disk_group (name, format_version) VALUES (?, ?)", name.Text(),
             group.At("formatVersion").Integer(1, kMaxVersion));
  const auto disks = group.Find("t1Disks");
  if (!disks) {
    return;
  }
  for (const Node& disk : disks->Items()) {
    if (db.Execute("UPDATE t1_disk SET disk_group = ? WHERE name = ? AND disk_group IS NULL",
                   name.Text(), disk.Text()) == 0) {
      disk.Fail("the name of one of \"t1Disks\" that no other disk group has");
    }
  }
}

void Load(Connection& db, const Node& root) {
  if (const auto version = root.Find("maxDiskVersion")) {
    PutSetting(db, "maxDiskVersion", std::to_string(version->Integer(0, kMaxVersion)));
  }
  if (const auto disks = root.Find("t1Disks")) {
    LoadDisks(db, *disks);
  }
  if (const auto groups = root.Find("diskGroups")) {
    for (const Node& group : groups->Items()) {
      LoadGroup(db, group);
    }
  }
}

void DumpDisks(Connection& db, json& document) {
  Rows rows =
      db.Query("SELECT name, fact, value FROM t1_disk LEFT JOIN t1_disk_fact ON disk = name");
  while (rows.Next()) {
    json& facts = document["t1Disks"][rows.Text(0)];
    if (rows.IsNull(1)) {
      facts = json::object();
    } else {
      facts[rows.Text(1)] = rows.Integer(2);
    }
  }
}

json DumpGroup(Connection& db, const std::string& name, std::int64_t version) {
  json group = {{"name", name}, {"formatVersion", version}};
  Rows rows = db.Query("SELECT name FROM t1_disk WHERE disk_group = ? ORDER BY name", name);
  while (rows.Next()) {
    group["t1Disks"].push_back(rows.Text(0));
  }
  return group;
}

void Dump(Connection& db, bool, json& document) {
  if (const auto version = FindNumber(db, "maxDiskVersion")) {
    document["maxDiskVersion"] = *version;
  }
  DumpDisks(db, document);
  Rows rows = db.Query("SELECT name, format_version FROM disk_group ORDER BY name");
  while (rows.Next()) {
    document["diskGroups"].push_back(DumpGroup(db, rows.Text(0), rows.Integer(1)));
  }
}

}  // namespace

const Section kDiskGroupsSection = {kKeys, Load, Dump};

}  // namespace quelt
