#include "embedded_host/crypto/disk.h"

#include <cstring>
#include <utility>

#include "embedded_host/crypto/key_cache.h"
#include "embedded_host/crypto/wrapping.h"
#include "embedded_host/uuid_text.h"
#include "platform/exception.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

std::string Disk::DekId() const { return UuidText(uuid.bytes); }

std::string Disk::KekId() const {
  return std::string(metadata.kekId, strnlen(metadata.kekId, sizeof metadata.kekId));
}

namespace {

template <typename Record>
Bytes BytesOf(const Record& record) {
  return Bytes(reinterpret_cast<const std::uint8_t*>(&record), sizeof record);
}

template <typename Record>
void ReadRecord(const Rows& rows, int column, Record& record) {
  const Bytes bytes = rows.Blob(column);
  if (bytes.size() != sizeof record) {
    throw QueltCtlException("The host's state holds a disk record of wrong length");
  }
  std::memcpy(&record, bytes.data(), sizeof record);
}

Disk ReadDisk(const Rows& rows) {
  Disk disk;
  disk.name = rows.Text(0);
  ReadRecord(rows, 1, disk.uuid);
  ReadRecord(rows, 2, disk.metadata);
  ReadRecord(rows, 3, disk.aws);
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

void StoreRecords(Connection& db, const Disk& disk) {
  db.Execute("UPDATE disk SET metadata = ?, aws = ? WHERE name = ?", BytesOf(disk.metadata),
             BytesOf(disk.aws), disk.name);
}

void UnwrapDekOf(Connection& db, const Disk& disk, Dek& dek) {
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
