// Reading a disk's encryption records and its DEK.
#include <cstring>

#include "embedded_host/crypto/disk.h"
#include "embedded_host/crypto/key_cache.h"
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/text/uuid_text.h"
#include "platform/quelt_util.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

/// Only the cloud KMS can unwrap the DEK, and this host has no connection to one: the DEK is
/// available while it is cached.
void LoadCachedDek(Connection& db, const Disk& disk, Dek& dek) {
  if (CopyKey(db, disk.DekId(), dek) != Dek::size()) {
    throw QueltCtlException("The DEK of disk \"" + disk.name +
                            "\" is not in the key cache, and the cloud KMS that could unwrap it "
                            "cannot be reached from here");
  }
}

}  // namespace

void EmbeddedHostSystem::GetUnwrappedDekForDisk(const std::string& disk, unsigned char* dek) {
  Dek unwrapped;
  Operation("GetUnwrappedDekForDisk", {{"disk", disk}}).Snapshot([&](Connection& db) {
    const Disk found = FindDisk(db, disk);
    if (!found.Has(ENCR_FLAG_ENCRYPTED)) {
      throw QueltCtlException("Disk \"" + disk + "\" is not encrypted");
    }
    if (found.Has(ENCR_FLAG_AWS_KMS)) {
      LoadCachedDek(db, found, unwrapped);
    } else {
      UnwrapDiskDek(db, found, unwrapped);
    }
  });
  std::memcpy(dek, unwrapped.data(), Dek::size());
}

}  // namespace quelt

namespace ZelCtl::Quelt {

using quelt::Connection;
using quelt::Operation;

void QueltUtil::GetEncMetadataForDisk(const std::string& disk, HostCtl::Quelt::Uuid& uuid,
                                      ENCR_Metadata& metadata, ENCR_Metadata_AWS& aws) {
  Operation("GetEncMetadataForDisk", {{"disk", disk}}).Read([&](Connection& db) {
    const quelt::Disk found = quelt::FindDisk(db, disk);
    uuid = found.uuid;
    metadata = found.metadata;
    aws = found.aws;
  });
}

std::string QueltUtil::QueltUuidToString(const HostCtl::Quelt::Uuid& uuid) {
  std::string text = quelt::UuidText(uuid.bytes);
  return Operation("QueltUuidToString", {{"uuid", text}}).Run([&] { return text; });
}

}  // namespace ZelCtl::Quelt
