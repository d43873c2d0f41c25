// The cluster configuration of one storage network interface, as scripts see it.
#pragma once

#include <cstdint>
#include <string>

#include "module/interpreter.h"
#include "platform/network.h"

namespace pyquelt {

/// Owns its texts: bytes as the platform returned them, not checked for UTF-8.
class ZelnicConfig {
 public:
  std::string zelnicName;
  std::string ipProtocol;
  std::string interfaceUuid;
  std::string agentGroupMulticastAddress;
  std::string agentGroupIpv6MulticastAddress;
  std::string masterGroupMulticastAddress;
  std::string masterGroupIpv6MulticastAddress;
  std::string trafficType;
  std::int32_t agentGroupMulticastPort = 0;
  std::int32_t masterGroupMulticastPort = 0;
  std::int32_t hostUnicastChannelBoundPort = 0;
  std::int32_t multicastTtl = 0;

  /// Copies what the interface's getters return; throws what they throw.
  static ZelnicConfig From(const HostCtl::Quelt::QueltZelNicConfig2& interface);

  /// A new dictionary of all twelve fields under their human-readable names, or null with
  /// RuntimeError set. GIL held.
  PyObject* PyGetZelnicDict() const;
};

}  // namespace pyquelt
