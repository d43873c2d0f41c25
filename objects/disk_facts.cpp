// Disk format versions and the facts of first-tier disks.
#include <algorithm>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/py_ref.h"
#include "module/result_helpers.h"
#include "objects/functions.h"

namespace pyquelt {

using HostCtl::Quelt::HostSystem;

namespace {

/// The highest disk format version that this module lets through.
constexpr std::uint8_t kHighestDiskVersion = 13;

}  // namespace

PyObject* PyGetOqtaCappedMaxDiskVersion(PyObject*, PyObject*) {
  std::uint8_t reported = 0;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        reported =
            WithHostSystem([](HostSystem& system) { return system.GetOqtaMaxDiskVersion(); });
      },
      [&] {
        const int version =
            reported == 0 ? kHighestDiskVersion : std::min(reported, kHighestDiskVersion);
        return Py_BuildValue("i", version);
      });
}

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

namespace {

using DiskFacts = std::unordered_map<std::string, int>;
using FactsByDisk = std::unordered_map<std::string, DiskFacts>;

/// Empties `dict` and raises. Returns null.
PyObject* RaiseAndClear(PyObject* dict, const char* text) {
  PyDict_Clear(dict);
  return Raise(PyExc_RuntimeError, text);
}

/// A new dictionary, or null with an error set.
PyObject* NewFactsDict(const DiskFacts& facts) {
  PyRef dict(PyDict_New());
  if (!dict) {
    return Raise(PyExc_RuntimeError, "PyDict_New infoMap failed!");
  }
  for (const auto& [name, fact] : facts) {
    // Facts go by the same few names on every disk: their keys may be shared.
    const PyRef value(PyLong_FromLong(fact));
    if (!value || PyDict_SetItemString(dict.get(), name.c_str(), value.get()) != 0) {
      return RaiseAndClear(dict.get(), "PyDict_SetItemString InfoMap failed!");
    }
  }
  return dict.release();
}

/// Fills `result`. False with an error set.
bool FillResult(PyObject* result, const FactsByDisk& disks) {
  for (const auto& [name, facts] : disks) {
    const PyRef dict(NewFactsDict(facts));
    if (!dict) {
      return false;
    }
    if (PySetDictItemOwnKey(result, name.c_str(), dict.get()) != 0) {
      RaiseAndClear(dict.get(), "PyDict_SetItemString result failed!");
      return false;
    }
  }
  return true;
}

}  // namespace

PyObject* PyGetT1DiskInfo(PyObject*, PyObject*) {
  // A plain pointer, not an owner: no destructor may give it back without the lock.
  PyObject* const result = PyDict_New();
  if (result == nullptr) {
    return Raise(PyExc_RuntimeError, "PyDict_New result failed!");
  }
  FactsByDisk disks;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { WithHostSystem([&](HostSystem& system) { system.GetT1DiskInfoMap(disks); }); },
      [&] {
        PyRef owned(result);
        if (!FillResult(result, disks)) {
          PyDict_Clear(result);
          return static_cast<PyObject*>(nullptr);
        }
        return owned.release();
      },
      [&] { Py_DECREF(result); });
}

}  // namespace pyquelt
