// The highest disk format version, and the facts of first-tier disks.
#include <algorithm>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/py_ref.h"
#include "module/result_dict.h"
#include "objects/functions.h"

namespace pyquelt {

using HostCtl::Quelt::HostSystem;

namespace {

/// The highest disk format version that the module reports.
constexpr std::uint8_t kHighestDiskVersion = 13;

}  // namespace

PyObject* PyGetOqtaCappedMaxDiskVersion() {
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

namespace {

using DiskFacts = std::unordered_map<std::string, int>;
using FactsByDisk = std::unordered_map<std::string, DiskFacts>;

/// A new dictionary, or null with an error set. The names of facts are the same on every disk, so
/// they are interned.
PyObject* NewFactsDict(const DiskFacts& facts) {
  ResultDict dict({"PyDict_New infoMap failed!", "PyDict_SetItemString InfoMap failed!"});
  for (const auto& [name, fact] : facts) {
    dict.SetInterned(name.c_str(), fact);
  }
  return dict.Release();
}

constexpr ResultTexts kResultTexts = {"PyDict_New result failed!",
                                      "PyDict_SetItemString result failed!"};

/// Fills the dictionary `stolen` and returns it, or null with an error set.
PyObject* FillFactsByDisk(PyObject* stolen, const FactsByDisk& disks) {
  ResultDict result(kResultTexts, stolen);
  for (const auto& [name, facts] : disks) {
    if (result.failed()) {
      break;
    }
    const PyRef dict(NewFactsDict(facts));
    if (!dict) {
      return nullptr;
    }
    result.SetUnderData(name.c_str(), dict);
  }
  return result.Release();
}

}  // namespace

PyObject* PyGetT1DiskInfo() {
  // A plain pointer, not an owner: a destructor may run without the GIL (see module/call_frame.h).
  PyObject* const result = PyDict_New();
  if (result == nullptr) {
    return Raise(PyExc_RuntimeError, kResultTexts.notCreated);
  }
  FactsByDisk disks;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] { WithHostSystem([&](HostSystem& system) { system.GetT1DiskInfoMap(disks); }); },
      [&] { return FillFactsByDisk(result, disks); }, [&] { Py_DECREF(result); });
}

}  // namespace pyquelt
