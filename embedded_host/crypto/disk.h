// The disks of the host with their encryption records. Inside a transaction of the caller.
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
  /// The id under which the key cache holds the disk's DEK.
  std::string DekId() const;
  std::string KekId() const;
};

/// Throws when there is no such disk.
Disk FindDisk(Connection& db, const std::string& name);
std::vector<Disk> AllDisks(Connection& db);

/// False when the name or the UUID is taken.
bool AddDisk(Connection& db, const Disk& disk);
/// Stores both records of a disk that is there.
void StoreRecords(Connection& db, const Disk& disk);

/// The DEK of an encrypted disk, unwrapped with the KEK that its record names. Throws with the
/// disk's name and the reason when it cannot be had.
void UnwrapDekOf(Connection& db, const Disk& disk, Dek& dek);

}  // namespace quelt
