// The host's storage network interfaces: their configuration, and the names of those that carry
// storage traffic.
#include <memory>
#include <string>
#include <vector>

#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "module/load_time_data.h"
#include "module/py_ref.h"
#include "network/functions.h"
#include "network/zelnic_config.h"

namespace pyquelt {

using HostCtl::Quelt::HostSystem;
using HostCtl::Quelt::QueltZelNicConfig2;

namespace {

using Interfaces = std::vector<std::unique_ptr<QueltZelNicConfig2>>;

/// One dictionary per interface. Calls the interfaces' getters with the GIL held.
PyObject* NewDictList(const Interfaces& interfaces) {
  PyRef list(PyList_New(0));
  if (!list) {
    return Raise(PyExc_RuntimeError, "PyList_New failed!");
  }
  for (const auto& interface : interfaces) {
    const PyRef dict(ZelnicConfig::From(*interface).PyGetZelnicDict());
    if (!dict) {
      return Raise(PyExc_RuntimeError, "zelDict is null!");
    }
    if (PyList_Append(list.get(), dict.get()) != 0) {
      return Raise(PyExc_RuntimeError, "PyList_Append failed!");
    }
  }
  return list.release();
}

}  // namespace

PyObject* PyGetQueltNetworkInfo() {
  Interfaces interfaces;
  return CallPlatform(
      OnStdException(PyExc_RuntimeError),
      [&] {
        interfaces = WithHostSystem([](HostSystem& system) { return system.GetZelNicConfigs(); });
      },
      [&] { return NewDictList(interfaces); });
}

namespace {

std::vector<std::string> StorageTrafficNames(const Interfaces& interfaces) {
  std::vector<std::string> names;
  names.reserve(interfaces.size());
  for (const auto& interface : interfaces) {
    const std::string type = interface->GetTrafficType();
    if (type == kStorageTrafficType || type == kCatchAllTrafficType) {
      names.push_back(interface->GetZelnicName());
    }
  }
  return names;
}

PyObject* NewTextList(const std::vector<std::string>& texts) {
  PyRef list(PyList_New(0));
  if (!list) {
    return Raise(PyExc_RuntimeError, "PyList_New failed!");
  }
  for (const std::string& text : texts) {
    const PyRef item(
        PyUnicode_FromStringAndSize(text.data(), static_cast<Py_ssize_t>(text.size())));
    if (!item) {
      return Raise(PyExc_RuntimeError, "PyUnicode_FromStringAndSize failed!");
    }
    if (PyList_Append(list.get(), item.get()) != 0) {
      return Raise(PyExc_RuntimeError, "PyList_Append failed!");
    }
  }
  return list.release();
}

}  // namespace

PyObject* PyGetQueltZelnicNames() {
  std::vector<std::string> names;
  return CallPlatform(
      OnStdException(PyExc_RuntimeError),
      [&] {
        names = WithHostSystem(
            [](HostSystem& system) { return StorageTrafficNames(system.GetZelNicConfigs()); });
      },
      [&] { return NewTextList(names); });
}

}  // namespace pyquelt
