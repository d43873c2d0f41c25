// Unicast agents: the cluster members that this host addresses directly.
#pragma once

#include <cstdint>
#include <string>

namespace HostCtl::Quelt {

/// What kind of node an agent is. Codes above 3 may occur in a list.
enum class UnicastNodeType : std::uint32_t {
  kNormal = 0,
  kWitness = 1,
  kMetadata = 2,
  kRemote = 3,
};

}  // namespace HostCtl::Quelt

namespace HostCtl::Quelt::QueltInfo {

/// One unicast agent. Texts are UTF-8 by convention; nothing enforces it.
struct QueltUnicastAddressInfo {
  std::string uuid;                                     ///< UUID text of the member node
  UnicastNodeType nodeType = UnicastNodeType::kNormal;  ///< kind of node
  bool isSupportUnicast = false;                        ///< the member supports unicast
  std::string address;                                  ///< IPv4 or IPv6 address text
  std::int32_t port = 0;                                ///< port at which the member is reached
  std::string zelnic;                                   ///< kernel network interface name
  std::string hostname;                                 ///< host name of the member
  std::string thumbprint;                               ///< thumbprint text of the member
  std::string subClusterUuid;                           ///< UUID text of its sub-cluster
};

}  // namespace HostCtl::Quelt::QueltInfo
