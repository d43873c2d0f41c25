#include "embedded_host/objects/space.h"

#include <algorithm>

#include "embedded_host/objects/object.h"
#include "embedded_host/operation/operation.h"
#include "platform/quelt_util.h"

namespace quelt {

namespace {

constexpr std::int64_t kBlock = 4096;
constexpr std::int64_t kAttributesOfBlock = 8;
constexpr std::int64_t kOverheadOfObject = std::int64_t{64} * 1024;
constexpr std::int64_t kThinAtFirst = std::int64_t{1024} * 1024;

}  // namespace

std::int64_t Space::FsOverhead() const { return objects * kOverheadOfObject; }
std::int64_t Space::BlockAttributes() const { return allocated / kBlock * kAttributesOfBlock; }

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
  const std::int64_t bytes = allocType == kThin ? std::min(size, kThinAtFirst) : size;
  return (bytes + kBlock - 1) / kBlock * kBlock;
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

bool HasRoomFor(Connection& db, std::int64_t allocType, std::uint64_t size) {
  Space space = ReadSpace(db);
  if (size > static_cast<std::uint64_t>(space.LogicalCapacity())) {
    return false;
  }
  space.objects += 1;
  space.allocated += AllocatedBytes(allocType, static_cast<std::int64_t>(size));
  return space.Fits();
}

}  // namespace quelt

namespace ZelCtl::Quelt {

void QueltUtil::GetCapacityAndFSOverheadFromNorim(
    QUELTUUID host, unsigned long* physicalCapacity, unsigned long* physicalUsed,
    unsigned long* logicalCapacity, unsigned long* logicalUsed, unsigned long* dedupMetadataSize,
    unsigned long* logicalFSOverhead, unsigned long* blkAttrOverhead, unsigned long* transientSpace,
    unsigned long* physicalTransientSpace) {
  const std::string hostText = quelt::UuidText(host.bytes);
  const quelt::Space space =
      quelt::Operation("GetCapacityAndFSOverheadFromNorim", {{"host", hostText}})
          .Read([&](quelt::Connection& db) {
            if (hostText != quelt::UuidText(quelt::UuidBytes{})) {
              throw HostCtl::Lib::Quelt::QueltCtlException("Host " + hostText +
                                                           " is not this host");
            }
            return quelt::ReadSpace(db);
          });
  const auto figure = [](std::int64_t bytes) { return static_cast<unsigned long>(bytes); };
  *physicalCapacity = figure(space.physicalCapacity);
  *physicalUsed = figure(space.PhysicalUsed());
  *logicalCapacity = figure(space.LogicalCapacity());
  *logicalUsed = figure(space.LogicalUsed());
  *dedupMetadataSize = figure(space.dedupMetadata);
  *logicalFSOverhead = figure(space.FsOverhead());
  *blkAttrOverhead = figure(space.BlockAttributes());
  *transientSpace = figure(space.transient);
  *physicalTransientSpace = figure(space.physicalTransient);
}

}  // namespace ZelCtl::Quelt
