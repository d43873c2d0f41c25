// Enabling and disabling encryption, and rewrapping DEKs with the current KEK. Each operation
// changes all of its disks or none.
#include "embedded_host/crypto/disk.h"
#include "embedded_host/crypto/key_cache.h"
#include "embedded_host/crypto/wrapping.h"
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/store/settings.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

/// The KEK that new and rewrapped DEKs are wrapped with.
struct CurrentKek {
  std::string id;
  std::string clusterId;  ///< the KMIP cluster that has the KEK; "" when none has
  Kek key;

  explicit CurrentKek(Connection& db) : id(FindSetting(db, "kekId").value_or("")) {
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

void WrapWithKek(const CurrentKek& kek, const Dek& dek, Disk& disk) {
  SetKeyIds(disk.metadata, kek.id, kek.clusterId);
  WrapDek(disk.uuid, kek.key, dek, disk.metadata);
}

/// Encrypts with a new DEK and the current KEK, independent of the disk's earlier encryption.
void Encrypt(Connection& db, const CurrentKek& kek, Disk& disk) {
  disk.metadata.flags = ENCR_FLAG_ENCRYPTED;
  disk.metadata.dekGenerationId += 1;
  disk.aws = {};
  Dek dek;
  GenerateDek(dek);
  WrapWithKek(kek, dek, disk);
  UpdateRecords(db, disk);
  PutKey(db, disk.DekId(), "DEK", Bytes(dek.data(), Dek::size()));
}

void EnableEncryption(Connection& db) {
  std::vector<Disk> disks = AllDisks(db);
  std::erase_if(disks, [](const Disk& disk) { return disk.Has(ENCR_FLAG_ENCRYPTED); });
  if (disks.empty()) {
    return;
  }
  const CurrentKek kek(db);
  for (Disk& disk : disks) {
    Encrypt(db, kek, disk);
  }
}

void DisableEncryption(Connection& db) {
  for (Disk& disk : AllDisks(db)) {
    if (disk.Has(ENCR_FLAG_ENCRYPTED)) {
      disk.metadata.flags &= static_cast<std::uint8_t>(~ENCR_FLAG_ENCRYPTED);
      UpdateRecords(db, disk);
      RemoveKey(db, disk.DekId());
    }
  }
}

void RequireRewrappable(const Disk& disk) {
  if (!disk.Has(ENCR_FLAG_ENCRYPTED)) {
    throw QueltCtlException("Disk \"" + disk.name + "\" is not encrypted");
  }
  if (disk.Has(ENCR_FLAG_AWS_KMS)) {
    throw QueltCtlException("The DEK of disk \"" + disk.name +
                            "\" is under the cloud KMS, which cannot be reached from here");
  }
}

void RewrapDeks(Connection& db, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    RequireRewrappable(FindDisk(db, name));
  }
  const CurrentKek kek(db);
  for (const std::string& name : names) {
    // Read each disk again: a name may occur twice.
    Disk disk = FindDisk(db, name);
    Dek dek;
    UnwrapDiskDek(db, disk, dek);
    WrapWithKek(kek, dek, disk);
    UpdateRecords(db, disk);
  }
}

std::string Join(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    joined += (joined.empty() ? "" : ", ") + text;
  }
  return joined;
}

}  // namespace

void EmbeddedHostSystem::SetHostEncryptionEnabled(bool enabled, bool flag) {
  Operation("SetHostEncryptionEnabled", {{"enabled", enabled}, {"flag", flag}})
      .Write([&](Connection& db) { enabled ? EnableEncryption(db) : DisableEncryption(db); });
}

void EmbeddedHostSystem::ShallowRekeyDisks(const std::vector<std::string>& disks, bool flag) {
  const std::string names = Join(disks);
  Operation("ShallowRekeyDisks", {{"disks", names}, {"flag", flag}}).Write([&](Connection& db) {
    if (!disks.empty()) {
      RewrapDeks(db, disks);
    }
  });
}

}  // namespace quelt
