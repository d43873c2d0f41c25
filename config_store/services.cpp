// The performance service's host configuration and the cluster directory's time machine.
#include <string>
#include <unordered_map>

#include "config_store/functions.h"
#include "module/call_frame.h"
#include "module/result_dict.h"
#include "platform/config_store.h"
#include "platform/exception.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using HostCtl::Quelt::QueltInfo::syncConfigurationCallback;
using ZelCtl::Quelt::QueltConfigStore;

PyObject* PySetPerfsvcHostConfigStore(const char* first, const char* second) {
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

PyObject* PySetClusterTimeMachineConfigStore(const char* first, const char* second) {
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

PyObject* NewTextDict(const Config& config) {
  ResultDict dict({"PyDict_New failed!", "PyDict_SetItemString failed!"});
  for (const auto& [key, text] : config) {
    dict.SetUnderData(key.c_str(), text);
  }
  return dict.Release();
}

}  // namespace

PyObject* PyGetPerfsvcHostConfigStore() {
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
