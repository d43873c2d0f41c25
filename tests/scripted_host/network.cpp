// Storage network interfaces: "out": {"interfaces": [{getter: value, ...}, ...]}. An address is a
// text. Each getter is recorded with the interface's position and fails with {"throws": ...}, as an
// operation does. The list's end is recorded too.
#include "embedded_host/addresses.h"
#include "tests/scripted_host/host_system.h"
#include "tests/scripted_host/script.h"

namespace scripted {

namespace {

class ScriptedInterface final : public QueltZelNicConfig2, HandedOut {
 public:
  ScriptedInterface(json values, std::size_t position)
      : values_(std::move(values)), position_(position) {}
  ~ScriptedInterface() override { Answer("~QueltZelNicConfig", json::array({position_})); }

  std::string GetZelnicName() const override { return Text("GetZelnicName"); }
  std::string GetIfaceUuid() const override { return Text("GetIfaceUuid"); }
  std::string GetTrafficType() const override { return Text("GetTrafficType"); }
  QueltIpAddress GetAgentMulticastGroup() const override {
    return Address("GetAgentMulticastGroup");
  }
  QueltIpAddress GetAgentV6MulticastGroup() const override {
    return Address("GetAgentV6MulticastGroup");
  }
  QueltIpAddress GetMasterMulticastGroup() const override {
    return Address("GetMasterMulticastGroup");
  }
  QueltIpAddress GetMasterV6MulticastGroup() const override {
    return Address("GetMasterV6MulticastGroup");
  }
  std::int32_t GetAgentMulticastPort() const override { return Number("GetAgentMulticastPort"); }
  std::int32_t GetMasterMulticastPort() const override { return Number("GetMasterMulticastPort"); }
  std::int32_t GetHostUnicastPort() const override { return Number("GetHostUnicastPort"); }
  std::int32_t GetMulticastTTL() const override { return Number("GetMulticastTTL"); }

 private:
  json Value(const char* getter, const json& missing) const {
    const Answer answer(getter, json::array({position_}));
    return values_.value(getter, missing);
  }
  std::string Text(const char* getter) const { return ToBytes(Value(getter, "")); }
  std::int32_t Number(const char* getter) const { return Value(getter, 0).get<std::int32_t>(); }
  QueltIpAddress Address(const char* getter) const {
    QueltIpAddress address;
    quelt::ParseAddress(Text(getter), address);
    return address;
  }

  const json values_;
  const std::size_t position_;
};

}  // namespace

std::vector<std::unique_ptr<QueltZelNicConfig2>> ScriptedHostSystem::GetZelNicConfigs() {
  const Answer answer("GetZelNicConfigs");
  std::vector<std::unique_ptr<QueltZelNicConfig2>> interfaces;
  if (const json* list = answer.FindOut("interfaces")) {
    for (const json& values : *list) {
      interfaces.push_back(std::make_unique<ScriptedInterface>(values, interfaces.size()));
    }
  }
  return interfaces;
}

}  // namespace scripted
