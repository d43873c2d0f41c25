#include "embedded_host/objects/space.h"

#include <algorithm>

#include "embedded_host/objects/object.h"
#include "embedded_host/store/settings.h"
#include "platform/exception.h"

namespace quelt {

namespace {

constexpr std::int64_t kBlockSize = 4096;
constexpr std::int64_t kAttributesPerBlock = 8;
constexpr std::int64_t kOverheadPerObject = std::int64_t{64} * 1024;
constexpr std::int64_t kThinAllocation = std::int64_t{1024} * 1024;

constexpr const char* kOffsetsSetting = "capacityOffsets";
/// Larger offsets are not stored: sums do not overflow 64 bits.
constexpr std::int64_t kMaxOffset = std::int64_t{1} << 61;

std::int64_t ComputedOverhead(const Space& space) { return space.objects * kOverheadPerObject; }
std::int64_t ComputedAttributes(const Space& space) {
  return space.allocated / kBlockSize * kAttributesPerBlock;
}
std::int64_t ComputedUsed(const Space& space) {
  return space.allocated + ComputedOverhead(space) + ComputedAttributes(space);
}

/// A host may report less than its listed objects would use here, which can be deleted.
std::int64_t WithOffset(std::int64_t computed, std::int64_t offset) {
  return std::max(computed + offset, std::int64_t{0});
}

SpaceOffsets ReadOffsets(Connection& db) {
  SpaceOffsets offsets;
  const nlohmann::json stored = FindJsonSetting(db, kOffsetsSetting);
  for (const StatedFigure& stated : kStatedFigures) {
    const auto value = stored.find(stated.key);
    if (value == stored.end()) {
      continue;
    }
    const std::int64_t offset = value->is_number_integer() ? value->get<std::int64_t>() : INT64_MAX;
    if (offset < -kMaxOffset || offset > kMaxOffset) {
      throw HostCtl::Lib::Quelt::QueltCtlException(
          std::string("The host's state holds no figure as ") + stated.key);
    }
    offsets.*stated.offset = offset;
  }
  return offsets;
}

}  // namespace

std::int64_t Space::FsOverhead() const {
  return WithOffset(ComputedOverhead(*this), offsets.fsOverhead);
}

std::int64_t Space::BlockAttributes() const {
  return WithOffset(ComputedAttributes(*this), offsets.blockAttributes);
}

std::int64_t Space::LogicalCapacity() const {
  return WithOffset(physicalCapacity - dedupMetadata, offsets.logicalCapacity);
}

std::int64_t Space::LogicalUsed() const {
  return WithOffset(ComputedUsed(*this) + transient, offsets.logicalUsed);
}

std::int64_t Space::PhysicalUsed() const {
  return WithOffset(ComputedUsed(*this) + dedupMetadata + physicalTransient, offsets.physicalUsed);
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
    space = {rows.Integer(0), rows.Integer(1), rows.Integer(2), rows.Integer(3),
             rows.Integer(4), rows.Integer(5), ReadOffsets(db)};
  }
  return space;
}

void StoreSpaceOffsets(Connection& db, const SpaceOffsets& offsets) {
  nlohmann::json stored = nlohmann::json::object();
  for (const StatedFigure& stated : kStatedFigures) {
    if (offsets.*stated.offset != 0) {
      stored[stated.key] = offsets.*stated.offset;
    }
  }
  if (!stored.empty()) {
    PutSetting(db, kOffsetsSetting, stored.dump());
  }
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
