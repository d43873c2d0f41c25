// The table of disks with their encryption records. Every function runs inside the caller's
// transaction.
#pragma once

#include <string>
#include <vector>

#include "embedded_host/crypto/secret_bytes.h"
#include "embedded_host/store/connection.h"

namespace quelt {

struct Disk {
  std::string name;
  HostCtl::Quelt::Uuid uuid;
  ENCR_Metadata metadata{};
  ENCR_Metadata_AWS aws{};

  bool Has(std::uint8_t flag) const { return (metadata.flags & flag) != 0; }
  /// The id of the disk's DEK in the key cache.
  std::string DekId() const;
  std::string KekId() const;
};

/// Throws QueltCtlException when there is no such disk.
Disk FindDisk(Connection& db, const std::string& name);
std::vector<Disk> AllDisks(Connection& db);

/// False when another disk has the name or the UUID.
bool AddDisk(Connection& db, const Disk& disk);
/// Updates both records of an existing disk.
void UpdateRecords(Connection& db, const Disk& disk);

/// Unwraps the DEK of an encrypted disk with the KEK that its record names. Throws
/// QueltCtlException with the disk's name and the reason on failure.
void UnwrapDiskDek(Connection& db, const Disk& disk, Dek& dek);

}  // namespace quelt
