// The folder of a host that exists for one `quelt-host run`.
#pragma once

#include <string>

#include "embedded_host/store/descriptor.h"

namespace quelt {

/// Removes the folder, with everything in it, at its end. Until then the process, and a child that
/// it forks, hold a lock in the folder. A folder whose lock nobody holds was abandoned by a process
/// that was killed; the next one removes it.
class TemporaryHost {
 public:
  TemporaryHost();
  TemporaryHost(const TemporaryHost&) = delete;
  TemporaryHost& operator=(const TemporaryHost&) = delete;
  ~TemporaryHost();

  const std::string& folder() const { return folder_; }

 private:
  std::string folder_;
  Descriptor lock_;
};

}  // namespace quelt
