// The host's state at one moment, to compare a later state with.
#pragma once

#include <string>
#include <vector>

#include "embedded_host/tool/differences.h"

namespace quelt {

/// A copy of the state's database. Memory use does not depend on the size of the state.
class HostSnapshot {
 public:
  /// Copies the present state to `file`, which does not exist. Its folder is the user's own: the
  /// copy holds secrets, and stays until it is removed with the folder.
  explicit HostSnapshot(std::string file);

  /// What changed since. Secrets are shown only if asked for.
  std::vector<Difference> FindChanges(bool withSecrets) const;

 private:
  std::string file_;
};

}  // namespace quelt
