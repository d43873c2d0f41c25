// What a process knows of faults, the journal switch and feature flags without asking the database.
#pragma once

#include <cstdint>
#include <utility>

#include "embedded_host/operation/operation_names.h"
#include "embedded_host/store/store.h"

namespace quelt {

/// What stood in the state when it was last looked at.
struct Switches {
  std::uint64_t faulty = 0;  ///< one bit for each operation that has a fault
  bool journal = false;      ///< operations are recorded
  bool csd = false;          ///< feature flags
  bool metadataNode = false;

  bool HasFault(OperationId operation) const { return (faulty >> operation.index() & 1) != 0; }

  static_assert(kOperationNames.size() <= 64);
};

/// The switches as they stand: a few nanoseconds while nothing changed, else one look into the
/// database. Throws QueltCtlException. Inside a body: as they stood when the operation began.
Switches CurrentSwitches();

/// Makes every process of this host look again. After a change of the switches was committed.
void InvalidateSwitches();

/// Runs `body(Connection&)`, which changes the switches (among other things), in a write
/// transaction; when this returns, every process of this host goes by the new ones.
template <typename Body>
void ChangeSwitches(Body&& body) {
  Store::Instance().Write(std::forward<Body>(body));
  InvalidateSwitches();
}

}  // namespace quelt
