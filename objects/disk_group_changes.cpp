// Changes of disk groups: upgrading their on-disk format.
#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "objects/functions.h"

namespace pyquelt {

using HostCtl::Quelt::HostSystem;

PyObject* PyUpgradeFormatVersionForDiskGroup(PyObject*, PyObject* args) {
  const char* diskName = nullptr;
  if (!PyArg_ParseTuple(args, "s", &diskName)) {
    return Raise(PyExc_RuntimeError, "Unable to parse diskName");
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        WithHostSystem([&](HostSystem& system) { system.UpgradeDiskGroupFormatVersion(diskName); });
      },
      [] { return NewNone(); });
}

}  // namespace pyquelt
