// Switches: which operations have faults, whether the journal is on, and the feature flags. Each
// process caches them; the control word (store/control_word.h) tells when the cache is outdated.
#pragma once

#include <cstdint>
#include <utility>

#include "embedded_host/operation/operation_names.h"
#include "embedded_host/store/store.h"

namespace quelt {

/// The switches at one moment.
struct Switches {
  std::uint64_t faulty = 0;  ///< one bit for each operation that has a fault
  bool journal = false;      ///< operations are recorded
  bool csd = false;          ///< feature flags
  bool metadataNode = false;

  bool HasFault(OperationId operation) const { return (faulty >> operation.index() & 1) != 0; }

  static_assert(kOperationNames.size() <= 64);
};

/// The current switches. Takes a few nanoseconds while nothing has changed; otherwise reads the
/// database, and throws QueltCtlException when that fails. Inside of an operation's body: the
/// cached switches, even if they have changed since.
Switches CurrentSwitches();

/// Makes every process of this host reload the switches. Call it after committing a change of them.
void InvalidateSwitches();

/// Runs `body(Connection&)`, which changes switches and possibly other data, in a write
/// transaction. When it returns, every process of this host uses the new switches.
template <typename Body>
void ChangeSwitches(Body&& body) {
  Store::Instance().Write(std::forward<Body>(body));
  InvalidateSwitches();
}

}  // namespace quelt
