// One use of the cluster plug-in, for `work` lambdas (interpreter lock released).
#pragma once

#include <memory>
#include <utility>

#include "platform/exception.h"
#include "platform/plugin.h"

namespace pyquelt {

/// Obtains the plug-in and its operations object, gives the latter to `use`, and releases the
/// operations object and then the plug-in, also when `use` throws. Returns what `use` returns.
template <typename Use>
auto WithHostSystem(Use&& use) {
  using HostCtl::Lib::Quelt::QueltCtlException;
  const auto plugin = HostCtl::QueltPluginFactory::GetQueltPlugin();
  if (plugin == nullptr) {
    throw QueltCtlException("The host library gave no cluster plug-in");
  }
  const auto system = plugin->GetHostSystem();
  if (system == nullptr) {
    throw QueltCtlException("The cluster plug-in gave no operations object");
  }
  return std::forward<Use>(use)(*system);
}

}  // namespace pyquelt
