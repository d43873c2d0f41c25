#include "embedded_host/objects/space.h"

#include <algorithm>

#include "embedded_host/objects/object.h"

namespace quelt {

namespace {

constexpr std::int64_t kBlockSize = 4096;
constexpr std::int64_t kAttributesPerBlock = 8;
constexpr std::int64_t kOverheadPerObject = std::int64_t{64} * 1024;
constexpr std::int64_t kThinAllocation = std::int64_t{1024} * 1024;

}  // namespace

std::int64_t Space::FsOverhead() const { return objects * kOverheadPerObject; }
std::int64_t Space::BlockAttributes() const { return allocated / kBlockSize * kAttributesPerBlock; }

std::int64_t Space::LogicalUsed() const {
  return allocated + FsOverhead() + BlockAttributes() + transient;
}

std::int64_t Space::PhysicalUsed() const {
  return allocated + FsOverhead() + BlockAttributes() + dedupMetadata + physicalTransient;
}

bool Space::Fits() const {
  return LogicalUsed() <= LogicalCapacity() && PhysicalUsed() <= physicalCapacity;
}

std::int64_t AllocatedBytes(std::int64_t allocType, std::int64_t size) {
  const std::int64_t bytes = allocType == kThin ? std::min(size, kThinAllocation) : size;
  return (bytes + kBlockSize - 1) / kBlockSize * kBlockSize;
}

Space ReadSpace(Connection& db) {
  Rows rows = db.Query(
      "SELECT physical_capacity, dedup_metadata, transient, physical_transient, objects, allocated "
      "FROM space");
  Space space;
  if (rows.Next()) {
    space = {rows.Integer(0), rows.Integer(1), rows.Integer(2),
             rows.Integer(3), rows.Integer(4), rows.Integer(5)};
  }
  return space;
}

bool HasSpaceFor(Connection& db, std::int64_t allocType, std::uint64_t size) {
  Space space = ReadSpace(db);
  if (size > static_cast<std::uint64_t>(space.LogicalCapacity())) {
    return false;
  }
  space.objects += 1;
  space.allocated += AllocatedBytes(allocType, static_cast<std::int64_t>(size));
  return space.Fits();
}

}  // namespace quelt
