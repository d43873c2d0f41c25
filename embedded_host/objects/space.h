// The host's storage space, in bytes, and how much of it the objects use.
//
// An object allocates its whole size when it is thick and at most 1 MiB when it is thin, rounded up
// to blocks of 4 KiB. In addition it uses 64 KiB for its descriptor (file-system overhead) and 8
// bytes of attributes per allocated block. The scenario sets the other figures:
//
//   logicalUsed  = allocated + overheads + transient space
//   physicalUsed = allocated + overheads + deduplication metadata + physical transient space
//   logicalCapacity = physicalCapacity - deduplication metadata
//
// A scenario can also state the figures that a real host reports, where other objects, which the
// scenario does not list, use space too. Then these figures are stored as offsets from the computed
// ones, so that they follow the objects that are created and deleted later.
#pragma once

#include <cstdint>

#include "embedded_host/store/connection.h"

namespace quelt {

/// What is added to the computed figures.
struct SpaceOffsets {
  std::int64_t logicalCapacity = 0;
  std::int64_t physicalUsed = 0;
  std::int64_t logicalUsed = 0;
  std::int64_t fsOverhead = 0;
  std::int64_t blockAttributes = 0;
};

struct Space {
  std::int64_t physicalCapacity = 0;
  std::int64_t dedupMetadata = 0;
  std::int64_t transient = 0;
  std::int64_t physicalTransient = 0;
  std::int64_t objects = 0;    ///< their number
  std::int64_t allocated = 0;  ///< by all objects
  SpaceOffsets offsets;

  std::int64_t FsOverhead() const;
  std::int64_t BlockAttributes() const;
  std::int64_t LogicalCapacity() const;
  std::int64_t LogicalUsed() const;
  std::int64_t PhysicalUsed() const;
  /// True when the used space exceeds neither capacity.
  bool Fits() const;
};

/// The bytes that a new object of this size allocates, without overheads.
std::int64_t AllocatedBytes(std::int64_t allocType, std::int64_t size);

/// A figure that a scenario can state.
struct StatedFigure {
  const char* key;  ///< in the scenario, in "capacity"
  std::int64_t (Space::*figure)() const;
  std::int64_t SpaceOffsets::* offset;
};
inline constexpr StatedFigure kStatedFigures[] = {
    {"logical", &Space::LogicalCapacity, &SpaceOffsets::logicalCapacity},
    {"physicalUsed", &Space::PhysicalUsed, &SpaceOffsets::physicalUsed},
    {"logicalUsed", &Space::LogicalUsed, &SpaceOffsets::logicalUsed},
    {"fsOverhead", &Space::FsOverhead, &SpaceOffsets::fsOverhead},
    {"blockAttributes", &Space::BlockAttributes, &SpaceOffsets::blockAttributes},
};

Space ReadSpace(Connection& db);
void StoreSpaceOffsets(Connection& db, const SpaceOffsets& offsets);

/// True when one more object fits, and its whole size does not exceed the logical capacity.
bool HasSpaceFor(Connection& db, std::int64_t allocType, std::uint64_t size);

}  // namespace quelt
