// Changes of disk groups: upgrading their on-disk format.
#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "objects/functions.h"

namespace pyquelt {

using HostCtl::Quelt::HostSystem;

PyObject* PyUpgradeFormatVersionForDiskGroup(const char* diskName) {
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        WithHostSystem([&](HostSystem& system) { system.UpgradeDiskGroupFormatVersion(diskName); });
      },
      [] { return NewNone(); });
}

}  // namespace pyquelt
