// Whether the host's cluster runs in unicast mode.
#include "module/call_frame.h"
#include "module/cluster_plugin.h"
#include "platform/quelt_util.h"
#include "unicast/functions.h"

namespace pyquelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using HostCtl::Quelt::HostSystem;
using ZelCtl::Quelt::QueltUtil;

PyObject* PyGetUnicastMode() {
  bool mode = false;
  return CallPlatform(
      OnCtlException(PyExc_RuntimeError, "Failed to get unicast mode:"),
      [&] {
        WithHostSystem([&](HostSystem& system) {
          const auto config = system.GetClusterConfig(true);
          if (config == nullptr) {
            throw QueltCtlException("no cluster configuration");
          }
          if (config->enabled) {
            QueltUtil::GetUnicastModeForCluster(mode, system.GetClusterId());
          }
        });
      },
      [&] { return PyBool_FromLong(mode ? 1 : 0); });
}

}  // namespace pyquelt
