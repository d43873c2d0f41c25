// Switching encryption on and off, and wrapping DEKs under another KEK: all disks or none.
#include "embedded_host/crypto/disk.h"
#include "embedded_host/crypto/key_cache.h"
#include "embedded_host/crypto/wrapping.h"
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/store/settings.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

/// What DEKs are wrapped under at present.
struct PresentKek {
  std::string id;
  std::string clusterId;  ///< the KMIP cluster that holds the KEK; "" when none does
  Kek key;

  explicit PresentKek(Connection& db) : id(FindSetting(db, "kekId").value_or("")) {
    if (id.empty()) {
      throw QueltCtlException("No KEK id is set");
    }
    LoadKek(db, id, key);
    Rows rows = db.Query(
        "SELECT kmip_cluster_id FROM kms_key WHERE key_id = ? ORDER BY kmip_cluster_id", id);
    if (rows.Next()) {
      clusterId = rows.Text(0);
    }
  }
};

void WrapUnder(const PresentKek& kek, const Dek& dek, Disk& disk) {
  SetKeyArrangement(disk.metadata, kek.id, kek.clusterId);
  WrapDek(disk.uuid, kek.key, dek, disk.metadata);
}

/// Whatever arrangement the disk had before it was switched off, it is under the KEK now.
void Encrypt(Connection& db, const PresentKek& kek, Disk& disk) {
  disk.metadata.flags = ENCR_FLAG_ENCRYPTED;
  disk.metadata.dekGenerationId += 1;
  disk.aws = {};
  Dek dek;
  MakeDek(dek);
  WrapUnder(kek, dek, disk);
  StoreRecords(db, disk);
  PutKey(db, disk.DekId(), "DEK", Bytes(dek.data(), Dek::size()));
}

void SwitchOn(Connection& db) {
  std::vector<Disk> disks = AllDisks(db);
  std::erase_if(disks, [](const Disk& disk) { return disk.Has(ENCR_FLAG_ENCRYPTED); });
  if (disks.empty()) {
    return;
  }
  const PresentKek kek(db);
  for (Disk& disk : disks) {
    Encrypt(db, kek, disk);
  }
}

void SwitchOff(Connection& db) {
  for (Disk& disk : AllDisks(db)) {
    if (disk.Has(ENCR_FLAG_ENCRYPTED)) {
      disk.metadata.flags &= static_cast<std::uint8_t>(~ENCR_FLAG_ENCRYPTED);
      StoreRecords(db, disk);
      RemoveKey(db, disk.DekId());
    }
  }
}

void RefuseRekey(const Disk& disk) {
  if (!disk.Has(ENCR_FLAG_ENCRYPTED)) {
    throw QueltCtlException("Disk \"" + disk.name + "\" is not encrypted");
  }
  if (disk.Has(ENCR_FLAG_AWS_KMS)) {
    throw QueltCtlException("The DEK of disk \"" + disk.name +
                            "\" is under the cloud KMS, which cannot be reached from here");
  }
}

void Rekey(Connection& db, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    RefuseRekey(FindDisk(db, name));
  }
  const PresentKek kek(db);
  for (const std::string& name : names) {
    // Read again: a name may come twice.
    Disk disk = FindDisk(db, name);
    Dek dek;
    UnwrapDekOf(db, disk, dek);
    WrapUnder(kek, dek, disk);
    StoreRecords(db, disk);
  }
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    joined += (joined.empty() ? "" : ", ") + text;
  }
  return joined;
}

}  // namespace

void EmbeddedHostSystem::SetHostEncryptionEnabled(bool enabled, bool flag) {
  Operation("SetHostEncryptionEnabled", {{"enabled", enabled}, {"flag", flag}})
      .Write([&](Connection& db) { enabled ? SwitchOn(db) : SwitchOff(db); });
}

void EmbeddedHostSystem::ShallowRekeyDisks(const std::vector<std::string>& disks, bool flag) {
  const std::string names = Joined(disks);
  Operation("ShallowRekeyDisks", {{"disks", names}, {"flag", flag}}).Write([&](Connection& db) {
    if (!disks.empty()) {
      Rekey(db, disks);
    }
  });
}

}  // namespace quelt
