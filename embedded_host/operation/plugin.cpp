// The cluster plug-in of the embedded host. It has no data of its own: all data is in the store.
#include "platform/plugin.h"

#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"

namespace HostCtl::Quelt {

QueltPlugin::QueltPlugin() = default;
QueltPlugin::~QueltPlugin() = default;

std::unique_ptr<HostSystem> QueltPlugin::GetHostSystem() {
  return quelt::Operation("GetHostSystem").Run([]() -> std::unique_ptr<HostSystem> {
    return std::make_unique<quelt::EmbeddedHostSystem>();
  });
}

}  // namespace HostCtl::Quelt

namespace HostCtl {

std::unique_ptr<Quelt::QueltPlugin> QueltPluginFactory::GetQueltPlugin() {
  return quelt::Operation("GetQueltPlugin").Run([] {
    return std::make_unique<Quelt::QueltPlugin>();
  });
}

}  // namespace HostCtl
