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

}  // namespace quelt
