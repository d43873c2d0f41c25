// A copy of the host's state, to compare a later state with.
#pragma once

#include <string>
#include <vector>

#include "embedded_host/tool/differences.h"

namespace quelt {

/// A copy of the state's database. Memory use does not depend on the size of the state.
class HostSnapshot {
 public:
  /// Copies the current state to `file`, which must not exist. Only the user may have access to its
  /// folder, because the copy contains secrets. The caller removes the file.
  explicit HostSnapshot(std::string file);

  /// The changes since the copy was made, with or without secrets.
  std::vector<Difference> FindChanges(bool withSecrets) const;

 private:
  std::string file_;
};

/// Dumps the parts in which the state at the path `state` and its `copies` (files of HostSnapshot)
/// differ, in this order; without copies, the whole state. A wrapped DEK is replaced with the DEK
/// where a KEK of its state unwraps it. Does not use this process's host.
std::vector<HostDump> DumpDifferingParts(const std::string& state,
                                         const std::vector<std::string>& copies);

}  // namespace quelt
