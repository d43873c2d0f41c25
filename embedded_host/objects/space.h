// The host's space, in bytes, and what the objects take of it.
//
// An object takes its allocated bytes: all of its size when it is thick, at most 1 MiB when it is
// thin, in blocks of 4 KiB. Beside them it takes 64 KiB for its descriptor (file-system overhead)
// and 8 bytes of attributes for each allocated block. Objects come and go, the rest is the
// scenario's:
//
//   logicalUsed  = allocated + overheads + transient space
//   physicalUsed = allocated + overheads + deduplication metadata + physical transient space
//   logicalCapacity = physicalCapacity - deduplication metadata
#pragma once

#include <cstdint>

#include "embedded_host/store/connection.h"

namespace quelt {

struct Space {
  std::int64_t physicalCapacity = 0;
  std::int64_t dedupMetadata = 0;
  std::int64_t transient = 0;
  std::int64_t physicalTransient = 0;
  std::int64_t objects = 0;    ///< how many there are
  std::int64_t allocated = 0;  ///< by all of them

  std::int64_t FsOverhead() const;
  std::int64_t BlockAttributes() const;
  std::int64_t LogicalCapacity() const { return physicalCapacity - dedupMetadata; }
  std::int64_t LogicalUsed() const;
  std::int64_t PhysicalUsed() const;
  /// True when what is used exceeds neither capacity.
  bool Fits() const;
};

/// What an object of this size takes of the space at first, without its overheads.
std::int64_t AllocatedBytes(std::int64_t allocType, std::int64_t size);

Space ReadSpace(Connection& db);

/// True when there is room for one more object, and for all of its size if it were alone.
bool HasRoomFor(Connection& db, std::int64_t allocType, std::uint64_t size);

}  // namespace quelt
