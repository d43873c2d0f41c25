// The performance service's host configuration and the cluster directory's time machine.
#include <string>
#include <unordered_map>

#include "config_store/functions.h"
#include "module/call_frame.h"
#include "module/py_ref.h"
#include "module/result_helpers.h"
#include "platform/config_store.h"
#include "platform/exception.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using HostCtl::Quelt::QueltInfo::syncConfigurationCallback;
using ZelCtl::Quelt::QueltConfigStore;

PyObject* PySetPerfsvcHostConfigStore(PyObject*, PyObject* args) {
  const char* first = nullptr;
  const char* second = nullptr;
  if (!PyArg_ParseTuple(args, "ss", &first, &second)) {
    return Raise(PyExc_ValueError, "Invalid argument");
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        if (!QueltConfigStore().SetPerfsvcHostConfigStore(first, second)) {
          throw QueltCtlException("Failed to set perfsvc host config");
        }
        if (syncConfigurationCallback) {
          syncConfigurationCallback();
        }
      },
      [] { return NewNone(); });
}

PyObject* PySetClusterTimeMachineConfigStore(PyObject*, PyObject* args) {
  const char* first = nullptr;
  const char* second = nullptr;
  if (!PyArg_ParseTuple(args, "ss", &first, &second)) {
    return Raise(PyExc_ValueError, "Invalid argument");
  }
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        if (!QueltConfigStore().SetClusterTimeMachineConfigStore(first, second)) {
          throw QueltCtlException("Failed to set norim time machine configurations");
        }
      },
      [] { return NewNone(); });
}

namespace {

using Config = std::unordered_map<std::string, std::string>;

bool SetText(PyObject* dict, const std::string& key, const std::string& text) {
  const PyRef value(PyUnicode_FromString(text.c_str()));
  return value && PySetDictItemOwnKey(dict, key.c_str(), value.get()) == 0;
}

PyObject* NewTextDict(const Config& config) {
  PyRef dict(PyDict_New());
  if (!dict) {
    return Raise(PyExc_RuntimeError, "PyDict_New failed!");
  }
  for (const auto& [key, text] : config) {
    if (!SetText(dict.get(), key, text)) {
      PyDict_Clear(dict.get());
      return Raise(PyExc_RuntimeError, "PyDict_SetItemString failed!");
    }
  }
  return dict.release();
}

}  // namespace

PyObject* PyGetPerfsvcHostConfigStore(PyObject*, PyObject*) {
  Config config;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        if (!QueltConfigStore().GetPerfsvcHostConfigStore(config)) {
          throw QueltCtlException("Failed to get perfsvc host config");
        }
      },
      [&] { return NewTextDict(config); });
}

}  // namespace pyquelt
