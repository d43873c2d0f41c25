// The host's encryption state and the rekeying of its disks.
#include <string>
#include <vector>

#include "crypto/functions.h"
#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/text_list.h"

namespace pyquelt {

using HostCtl::Quelt::HostSystem;

PyObject* PySetEncryptionEnabled(PyObject*, PyObject* args) {
  int enabled = 0;
  if (!PyArg_ParseTuple(args, "i", &enabled)) {
    return Raise(PyExc_RuntimeError, "Unable to parse enabled");
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        WithHostSystem(
            [&](HostSystem& system) { system.SetHostEncryptionEnabled(enabled != 0, false); });
      },
      [] { return NewNone(); });
}

PyObject* PyShallowRekey(PyObject*, PyObject* args) {
  PyObject* list = nullptr;
  if (!PyArg_ParseTuple(args, "O!", &PyList_Type, &list)) {
    return Raise(PyExc_RuntimeError, "Unable to parse diskNames");
  }
  std::vector<std::string> disks;
  bool parsed = false;
  // No failure of the host's yet: want of memory is MemoryError here.
  if (!RunUnderLock(kOnNoException, [&] { parsed = AppendTexts(list, disks); })) {
    return nullptr;
  }
  if (!parsed) {
    return Raise(PyExc_RuntimeError, "Unable to parse diskNames");
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { WithHostSystem([&](HostSystem& system) { system.ShallowRekeyDisks(disks, false); }); },
      [] { return NewNone(); });
}

}  // namespace pyquelt
