// Access to the cluster plug-in, for `work` lambdas (GIL released).
#pragma once

#include <memory>
#include <utility>

#include "platform/exception.h"
#include "platform/plugin.h"

namespace pyquelt {

/// Creates the plug-in and its operations object, calls `use` with the latter, and destroys the
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
