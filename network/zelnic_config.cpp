#include "network/zelnic_config.h"

#include "module/result_dict.h"

namespace pyquelt {

using HostCtl::Quelt::QueltIpAddress;
using HostCtl::Quelt::QueltZelNicConfig2;

namespace {

/// The address's flag decides which text is used, not the group that it belongs to.
std::string AddressText(const QueltIpAddress& address) {
  return address.isIpv6 ? address.ipv6.GetStringAddress() : address.ipv4.GetStringAddress();
}

}  // namespace

ZelnicConfig ZelnicConfig::From(const QueltZelNicConfig2& interface) {
  ZelnicConfig config;
  config.zelnicName = interface.GetZelnicName();
  config.ipProtocol = "IP";
  config.interfaceUuid = interface.GetIfaceUuid();
  config.agentGroupMulticastAddress = AddressText(interface.GetAgentMulticastGroup());
  config.agentGroupIpv6MulticastAddress = AddressText(interface.GetAgentV6MulticastGroup());
  config.masterGroupMulticastAddress = AddressText(interface.GetMasterMulticastGroup());
  config.masterGroupIpv6MulticastAddress = AddressText(interface.GetMasterV6MulticastGroup());
  config.trafficType = interface.GetTrafficType();
  config.agentGroupMulticastPort = interface.GetAgentMulticastPort();
  config.masterGroupMulticastPort = interface.GetMasterMulticastPort();
  config.hostUnicastChannelBoundPort = interface.GetHostUnicastPort();
  config.multicastTtl = interface.GetMulticastTTL();
  return config;
}

PyObject* ZelnicConfig::PyGetZelnicDict() const {
  ResultDict dict({"PyDict_New failed!", "PyDict_SetItemString failed!"});
  dict.Set<"ZelNic Name">(zelnicName);
  dict.Set<"IP Protocol">(ipProtocol);
  dict.Set<"Interface UUID">(interfaceUuid);
  dict.Set<"Agent Group Multicast Address">(agentGroupMulticastAddress);
  dict.Set<"Agent Group IPv6 Multicast Address">(agentGroupIpv6MulticastAddress);
  dict.Set<"Agent Group Multicast Port">(agentGroupMulticastPort);
  dict.Set<"Master Group Multicast Address">(masterGroupMulticastAddress);
  dict.Set<"Master Group IPv6 Multicast Address">(masterGroupIpv6MulticastAddress);
  dict.Set<"Master Group Multicast Port">(masterGroupMulticastPort);
  dict.Set<"Host Unicast Channel Bound Port">(hostUnicastChannelBoundPort);
  dict.Set<"Multicast TTL">(multicastTtl);
  dict.Set<"Traffic Type">(trafficType);
  return dict.Release();
}

}  // namespace pyquelt
