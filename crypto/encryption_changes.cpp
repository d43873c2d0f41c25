// Changes of the host's encryption: enabling and disabling it, rekeying disks.
#include <string>
#include <vector>

#include "crypto/functions.h"
#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/text_list.h"

namespace pyquelt {

using HostCtl::Quelt::HostSystem;

PyObject* PySetEncryptionEnabled(int enabled) {
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        WithHostSystem(
            [&](HostSystem& system) { system.SetHostEncryptionEnabled(enabled != 0, false); });
      },
      [] { return NewNone(); });
}

PyObject* PyShallowRekey(ListObject diskNames) {
  std::vector<std::string> names;
  bool parsed = false;
  // Before the operation, a lack of memory is a MemoryError, not the ValueError of a host failure.
  if (!RunWithGil(kOnNoException, [&] { parsed = AppendTexts(diskNames.list, names); })) {
    return nullptr;
  }
  if (!parsed) {
    return Raise(PyExc_RuntimeError, "Unable to parse diskNames");
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { WithHostSystem([&](HostSystem& system) { system.ShallowRekeyDisks(names, false); }); },
      [] { return NewNone(); });
}

}  // namespace pyquelt
