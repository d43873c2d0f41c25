#include "embedded_host/crypto/disk.h"

#include <cstring>
#include <utility>

#include "embedded_host/crypto/key_cache.h"
#include "embedded_host/crypto/wrapping.h"
#include "embedded_host/text/uuid_text.h"
#include "platform/exception.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

std::string Disk::DekId() const { return UuidText(uuid.bytes); }

std::string Disk::KekId() const { return metadata.kekId; }

namespace {

template <typename Record>
Bytes BytesOf(const Record& record) {
  return Bytes(reinterpret_cast<const std::uint8_t*>(&record), sizeof record);
}

template <typename Record>
std::span<std::uint8_t> WritableBytes(Record& record) {
  return {reinterpret_cast<std::uint8_t*>(&record), sizeof record};
}

template <std::size_t Size>
bool IsTerminated(const char (&field)[Size]) {
  return strnlen(field, Size) < Size;
}

Disk ReadDisk(const Rows& rows) {
  Disk disk;
  disk.name = rows.Text(0);
  rows.Copy(1, disk.uuid.bytes);
  rows.Copy(2, WritableBytes(disk.metadata));
  rows.Copy(3, WritableBytes(disk.aws));
  if (!IsTerminated(disk.metadata.kekId) || !IsTerminated(disk.metadata.clusterId) ||
      disk.aws.wrappedDekLength > ENCR_AWS_DEK_MAX) {
    throw QueltCtlException("The host's state holds a damaged record of disk \"" + disk.name +
                            "\"");
  }
  return disk;
}

}  // namespace

Disk FindDisk(Connection& db, const std::string& name) {
  Rows rows = db.Query("SELECT name, uuid, metadata, aws FROM disk WHERE name = ?", name);
  if (!rows.Next()) {
    throw QueltCtlException("Disk \"" + name + "\" does not exist");
  }
  return ReadDisk(rows);
}

std::vector<Disk> AllDisks(Connection& db) {
  std::vector<Disk> disks;
  Rows rows = db.Query("SELECT name, uuid, metadata, aws FROM disk ORDER BY position");
  while (rows.Next()) {
    disks.push_back(ReadDisk(rows));
  }
  return disks;
}

bool AddDisk(Connection& db, const Disk& disk) {
  return db.Execute("INSERT OR IGNORE INTO disk (name, uuid, metadata, aws) VALUES (?, ?, ?, ?)",
                    disk.name, BytesOf(disk.uuid), BytesOf(disk.metadata), BytesOf(disk.aws)) == 1;
}

void UpdateRecords(Connection& db, const Disk& disk) {
  db.Execute("UPDATE disk SET metadata = ?, aws = ? WHERE name = ?", BytesOf(disk.metadata),
             BytesOf(disk.aws), disk.name);
}

void UnwrapDiskDek(Connection& db, const Disk& disk, Dek& dek) {
  Kek kek;
  try {
    LoadKek(db, disk.KekId(), kek);
  } catch (const QueltCtlException& failure) {
    throw QueltCtlException("The DEK of disk \"" + disk.name +
                            "\" cannot be unwrapped: " + failure.what());
  }
  if (!UnwrapDek(disk.uuid, kek, disk.metadata, dek)) {
    throw QueltCtlException("The DEK of disk \"" + disk.name + "\" cannot be unwrapped: KEK \"" +
                            disk.KekId() +
                            "\" is not the one it was wrapped under, or the record was altered");
  }
}

}  // namespace quelt
