// The plug-in, its operations object and what that returns: their releases are recorded as well.
// generate.py writes the other operations.
#include "embedded_host/text/addresses.h"
#include "platform/config_store.h"
#include "platform/plugin.h"
#include "platform/quelt_util.h"
#include "tests/scripted_host/script.h"

using scripted::Answer;
using scripted::LiveObject;
using scripted::RecordRelease;

namespace HostCtl::Quelt {

namespace {

/// An interface {getter: value, ...} with addresses as texts. Each getter is recorded with the
/// position of the interface and can throw, as an operation can.
class ScriptedInterface final : public QueltZelNicConfig2, LiveObject {
 public:
  ScriptedInterface(scripted::json values, std::size_t position)
      : values_(std::move(values)), position_(position) {}
  ~ScriptedInterface() override {
    const scripted::InsideOperation inside;
    RecordRelease("~QueltZelNicConfig", position_);
    values_ = nullptr;  // allocates
  }

#include "interface.inc"

 private:
  template <typename T>
  T Value(const char* getter) const {
    const Answer answer(getter, position_);
    T value{};
    scripted::ReadMembers(values_, getter, value);
    return value;
  }

  scripted::json values_;
  const std::size_t position_;
};

class ScriptedHostSystem final : public HostSystem, LiveObject {
 public:
  ~ScriptedHostSystem() override { RecordRelease("~HostSystem"); }

#include "host_system.inc"

  std::vector<std::unique_ptr<QueltZelNicConfig2>> GetZelNicConfigs() override {
    const Answer answer("GetZelNicConfigs");
    scripted::json interfaces;
    answer.Out("interfaces", interfaces);
    std::vector<std::unique_ptr<QueltZelNicConfig2>> made;
    for (const scripted::json& values : interfaces) {
      made.push_back(std::make_unique<ScriptedInterface>(values, made.size()));
    }
    return made;
  }

  std::shared_ptr<ClusterConfig> GetClusterConfig(bool flag) override {
    const Answer answer("GetClusterConfig", flag);
    struct RecordedConfig : ClusterConfig, LiveObject {
      ~RecordedConfig() { RecordRelease("~ClusterConfig"); }
    };
    auto config = answer.ReturnsNull() ? nullptr : std::make_shared<RecordedConfig>();
    if (config) {
      config->enabled = answer.Returns(false);
    }
    return config;
  }
};

}  // namespace

QueltPlugin::QueltPlugin() { ++scripted::liveObjects; }
QueltPlugin::~QueltPlugin() {
  --scripted::liveObjects;
  RecordRelease("~QueltPlugin");
}

std::unique_ptr<HostSystem> QueltPlugin::GetHostSystem() {
  const Answer answer("GetHostSystem");
  return answer.ReturnsNull() ? nullptr : std::make_unique<ScriptedHostSystem>();
}

std::function<void()> QueltInfo::syncConfigurationCallback;

}  // namespace HostCtl::Quelt

std::unique_ptr<HostCtl::Quelt::QueltPlugin> HostCtl::QueltPluginFactory::GetQueltPlugin() {
  const Answer answer("GetQueltPlugin");
  return answer.ReturnsNull() ? nullptr : std::make_unique<Quelt::QueltPlugin>();
}

bool ZelCtl::Quelt::QueltConfigStore::GetIloAuth(std::pair<std::string, std::string>& credential) {
  return Answer("GetIloAuth")
      .Out("first", credential.first, "second", credential.second)
      .Returns(true);
}

/// Parses the address, unless the script has a return value.
bool ZelCtl::Quelt::QueltUtil::BuildQueltIPAddress(const std::string& text,
                                                   HostCtl::Quelt::QueltIpAddress& address) {
  const Answer answer("BuildQueltIPAddress", text);
  return answer.Returns(quelt::ParseAddress(text, address));
}

/// Sets a synchronisation callback that records its calls, or removes it.
extern "C" __attribute__((visibility("default"))) void scripted_host_sync(bool set) {
  HostCtl::Quelt::QueltInfo::syncConfigurationCallback = nullptr;
  if (set) {
    HostCtl::Quelt::QueltInfo::syncConfigurationCallback = [] {
      Answer("syncConfigurationCallback");
    };
  }
}
