// Settings that the host keeps in its configuration store.
//
// Every operation may be called from any thread without the GIL. An operation returns false when
// the store can't read or store the setting, and throws a std::exception for every other failure.
// Texts are UTF-8 by convention; no operation checks it.
#pragma once

#include <functional>
#include <string>
#include <unordered_map>
#include <utility>

namespace ZelCtl::Quelt {

/// The configuration store. Stateless: the caller creates one for each call.
class __attribute__((visibility("default"))) QueltConfigStore {
 public:
  /// Writes the hardware SKU to `sku`.
  bool GetHardwareSku(std::string& sku);

  /// Writes the hardware management credential, user name and password, to `credential`. False also
  /// when none was set.
  bool GetIloAuth(std::pair<std::string, std::string>& credential);
  /// Stores the hardware management credential: user name `first`, password `second`.
  bool SetIloAuth(const std::string& first, const std::string& second);

  /// Writes all pairs of the performance service's host configuration, value by name, to `config`.
  bool GetPerfsvcHostConfigStore(std::unordered_map<std::string, std::string>& config);
  /// Stores the value `second` under the name `first` in the performance service's configuration.
  bool SetPerfsvcHostConfigStore(const std::string& first, const std::string& second);

  /// Stores the value `second` under the name `first` in the cluster directory's time-machine
  /// configuration.
  bool SetClusterTimeMachineConfigStore(const std::string& first, const std::string& second);
};

}  // namespace ZelCtl::Quelt

namespace HostCtl::Quelt::QueltInfo {

/// The module calls it, unless it is empty, after each performance-service setting that was stored,
/// without the GIL. Owned by the host library. A failure is a std::exception; the setting stays
/// stored.
__attribute__((visibility("default"))) extern std::function<void()> syncConfigurationCallback;

}  // namespace HostCtl::Quelt::QueltInfo
