// Disk groups with their format versions, and the facts of first-tier disks.
#include <algorithm>

#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/store/settings.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

/// The highest format version that this host can write.
constexpr int kHighestFormatVersion = 13;

/// The cluster's cap; 0 when the cluster reports none.
std::uint8_t ReportedMaxVersion(Connection& db) {
  return FindNumber(db, "maxDiskVersion").value_or(0);
}

}  // namespace

std::uint8_t EmbeddedHostSystem::GetOqtaMaxDiskVersion() {
  return Operation("GetOqtaMaxDiskVersion").Read(ReportedMaxVersion);
}

// A group that is as high already, or higher, stays as it is.
void EmbeddedHostSystem::UpgradeDiskGroupFormatVersion(const std::string& diskGroup) {
  Operation("UpgradeDiskGroupFormatVersion", {{"diskGroup", diskGroup}}).Write([&](Connection& db) {
    if (!db.Query("SELECT 1 FROM disk_group WHERE name = ?", diskGroup).Next()) {
      throw QueltCtlException("Disk group \"" + diskGroup + "\" does not exist");
    }
    const int reported = ReportedMaxVersion(db);
    const int version =
        reported == 0 ? kHighestFormatVersion : std::min(reported, kHighestFormatVersion);
    const int upgraded = db.Execute(
        "UPDATE disk_group SET format_version = ?1 WHERE name = ?2 AND format_version "
        "< ?1",
        version, diskGroup);
    if (upgraded != 0) {
      db.Execute(
          "UPDATE t1_disk_fact SET value = ? WHERE fact = 'formatVersion' AND disk IN (SELECT name "
          "FROM t1_disk WHERE disk_group = ?)",
          version, diskGroup);
    }
  });
}

void EmbeddedHostSystem::GetT1DiskInfoMap(
    std::unordered_map<std::string, std::unordered_map<std::string, int>>& facts) {
  Operation("GetT1DiskInfoMap").Read([&](Connection& db) {
    Rows rows =
        db.Query("SELECT name, fact, value FROM t1_disk LEFT JOIN t1_disk_fact ON disk = name");
    while (rows.Next()) {
      auto& its = facts[rows.Text(0)];
      if (!rows.IsNull(1)) {
        its.insert_or_assign(rows.Text(1), static_cast<int>(rows.Integer(2)));
      }
    }
  });
}

}  // namespace quelt
