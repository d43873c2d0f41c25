// The facts of first-tier disks, and the cluster's highest disk format version.
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/store/settings.h"

namespace quelt {

std::uint8_t EmbeddedHostSystem::GetOqtaMaxDiskVersion() {
  return Operation("GetOqtaMaxDiskVersion").Read([](Connection& db) -> std::uint8_t {
    return FindNumber(db, "maxDiskVersion").value_or(0);
  });
}

void EmbeddedHostSystem::GetT1DiskInfoMap(
    std::unordered_map<std::string, std::unordered_map<std::string, int>>& facts) {
  Operation("GetT1DiskInfoMap").Read([&](Connection& db) {
    Rows rows =
        db.Query("SELECT name, fact, value FROM t1_disk LEFT JOIN t1_disk_fact ON disk = name");
    while (rows.Next()) {
      auto& factsOfDisk = facts[rows.Text(0)];
      if (!rows.IsNull(1)) {
        factsOfDisk.insert_or_assign(rows.Text(1), static_cast<int>(rows.Integer(2)));
      }
    }
  });
}

}  // namespace quelt
