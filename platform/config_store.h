// Settings that the host keeps in its configuration store.
//
// Every operation may be called from any thread without the interpreter lock. An operation answers
// false when the store refuses, and throws a std::exception for every other failure.
#pragma once

#include <functional>
#include <string>
#include <unordered_map>
#include <utility>

namespace ZelCtl::Quelt {

/// The configuration store. Stateless: made by the caller for one call.
class __attribute__((visibility("default"))) QueltConfigStore {
 public:
  /// True: `sku` holds the hardware SKU.
  bool GetHardwareSku(std::string& sku);

  /// True: `credential` holds both texts of the hardware management credential.
  bool GetIloAuth(std::pair<std::string, std::string>& credential);
  /// True: the credential is stored.
  bool SetIloAuth(const std::string& first, const std::string& second);

  /// True: `config` holds the performance service's host configuration.
  bool GetPerfsvcHostConfigStore(std::unordered_map<std::string, std::string>& config);
  /// True: the pair of texts is stored.
  bool SetPerfsvcHostConfigStore(const std::string& first, const std::string& second);

  /// True: the pair of texts is stored in the cluster directory's time-machine configuration.
  bool SetClusterTimeMachineConfigStore(const std::string& first, const std::string& second);
};

}  // namespace ZelCtl::Quelt

namespace HostCtl::Quelt::QueltInfo {

/// Called once after each stored performance-service setting, when it holds a target.
/// Owned by the host library; may be empty.
__attribute__((visibility("default"))) extern std::function<void()> syncConfigurationCallback;

}  // namespace HostCtl::Quelt::QueltInfo
