// The temporary host of one `quelt-host run`.
#pragma once

#include <string>

#include "embedded_host/store/descriptor.h"

namespace quelt {

/// Owns the host's folder; the destructor removes it and its content. Until then this process, and
/// a child that it forks, hold a lock in the folder. The constructor removes folders of killed
/// processes, whose lock no process holds.
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
