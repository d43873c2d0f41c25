// Changing the format versions of disk groups.
#include <algorithm>

#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/store/settings.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

/// The highest format version that this host can write.
constexpr int kHighestFormatVersion = 13;

/// The highest version that the host and the cluster support. The cluster reports 0 for "no limit".
int HighestCommonVersion(Connection& db) {
  const int reported = FindNumber(db, "maxDiskVersion").value_or(0);
  return reported == 0 ? kHighestFormatVersion : std::min(reported, kHighestFormatVersion);
}

}  // namespace

// A group with this version or a higher one does not change.
void EmbeddedHostSystem::UpgradeDiskGroupFormatVersion(const std::string& diskGroup) {
  Operation("UpgradeDiskGroupFormatVersion", {{"diskGroup", diskGroup}}).Write([&](Connection& db) {
    if (!db.Query("SELECT 1 FROM disk_group WHERE name = ?", diskGroup).Next()) {
      throw QueltCtlException("Disk group \"" + diskGroup + "\" does not exist");
    }
    const int version = HighestCommonVersion(db);
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

}  // namespace quelt
