#include "platform/config_store.h"

#include "tests/scripted_host/script.h"

using scripted::Answer;
using scripted::ToBytes;
using scripted::ToJson;

namespace HostCtl::Quelt::QueltInfo {

std::function<void()> syncConfigurationCallback;

}  // namespace HostCtl::Quelt::QueltInfo

/// Sets the synchronisation callback to one that records a call, or empties it.
extern "C" __attribute__((visibility("default"))) void scripted_host_sync(bool set) {
  using HostCtl::Quelt::QueltInfo::syncConfigurationCallback;
  syncConfigurationCallback = nullptr;
  if (set) {
    syncConfigurationCallback = [] { Answer("syncConfigurationCallback"); };
  }
}

namespace ZelCtl::Quelt {

bool QueltConfigStore::GetHardwareSku(std::string& sku) {
  const Answer answer("GetHardwareSku");
  answer.Out("sku", sku);
  return answer.Returns(true);
}

bool QueltConfigStore::GetIloAuth(std::pair<std::string, std::string>& credential) {
  const Answer answer("GetIloAuth");
  answer.Out("first", credential.first);
  answer.Out("second", credential.second);
  return answer.Returns(true);
}

bool QueltConfigStore::SetIloAuth(const std::string& first, const std::string& second) {
  return Answer("SetIloAuth", {ToJson(first), ToJson(second)}).Returns(true);
}

bool QueltConfigStore::GetPerfsvcHostConfigStore(
    std::unordered_map<std::string, std::string>& config) {
  const Answer answer("GetPerfsvcHostConfigStore");
  if (const auto* entries = answer.FindOut("config")) {
    for (const auto& entry : *entries) {
      config.emplace(ToBytes(entry.at(0)), ToBytes(entry.at(1)));
    }
  }
  return answer.Returns(true);
}

bool QueltConfigStore::SetPerfsvcHostConfigStore(const std::string& first,
                                                 const std::string& second) {
  return Answer("SetPerfsvcHostConfigStore", {ToJson(first), ToJson(second)}).Returns(true);
}

bool QueltConfigStore::SetClusterTimeMachineConfigStore(const std::string& first,
                                                        const std::string& second) {
  return Answer("SetClusterTimeMachineConfigStore", {ToJson(first), ToJson(second)}).Returns(true);
}

}  // namespace ZelCtl::Quelt
