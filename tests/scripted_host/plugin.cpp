#include "platform/plugin.h"

#include "tests/scripted_host/host_system.h"
#include "tests/scripted_host/script.h"

using scripted::Answer;

namespace scripted {

// The order of the releases is recorded too.
ScriptedHostSystem::~ScriptedHostSystem() { Answer("~HostSystem"); }

}  // namespace scripted

namespace HostCtl::Quelt {

QueltPlugin::QueltPlugin() { ++scripted::handedOut; }
QueltPlugin::~QueltPlugin() {
  --scripted::handedOut;
  Answer("~QueltPlugin");
}

std::unique_ptr<HostSystem> QueltPlugin::GetHostSystem() {
  const Answer answer("GetHostSystem");
  return answer.ReturnsNull() ? nullptr : std::make_unique<scripted::ScriptedHostSystem>();
}

}  // namespace HostCtl::Quelt

namespace HostCtl {

std::unique_ptr<Quelt::QueltPlugin> QueltPluginFactory::GetQueltPlugin() {
  const Answer answer("GetQueltPlugin");
  return answer.ReturnsNull() ? nullptr : std::make_unique<Quelt::QueltPlugin>();
}

}  // namespace HostCtl
