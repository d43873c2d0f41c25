#include "network/zelnic_config.h"

#include "module/call_frame.h"
#include "module/py_ref.h"

namespace pyquelt {

using HostCtl::Quelt::QueltIpAddress;
using HostCtl::Quelt::QueltZelNicConfig2;

namespace {

/// The text goes with the address's own flag, whichever group it is of.
std::string AddressText(const QueltIpAddress& address) {
  return address.isIpv6 ? address.ipv6.GetStringAddress() : address.ipv4.GetStringAddress();
}

/// An item of the dictionary. A value that could not be made is missing, without a pending error.
struct Item {
  Item(const char* name, const std::string& text) : Item(name, Py_BuildValue("s", text.c_str())) {}
  Item(const char* name, std::int32_t number) : Item(name, PyLong_FromLong(number)) {}
  Item(const char* name, PyObject* stolen) : key(name), value(stolen) {
    if (!value) {
      PyErr_Clear();
    }
  }

  const char* key;
  PyRef value;
};

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
  Item items[] = {
      {"ZelNic Name", zelnicName},
      {"IP Protocol", ipProtocol},
      {"Interface UUID", interfaceUuid},
      {"Agent Group Multicast Address", agentGroupMulticastAddress},
      {"Agent Group IPv6 Multicast Address", agentGroupIpv6MulticastAddress},
      {"Agent Group Multicast Port", agentGroupMulticastPort},
      {"Master Group Multicast Address", masterGroupMulticastAddress},
      {"Master Group IPv6 Multicast Address", masterGroupIpv6MulticastAddress},
      {"Master Group Multicast Port", masterGroupMulticastPort},
      {"Host Unicast Channel Bound Port", hostUnicastChannelBoundPort},
      {"Multicast TTL", multicastTtl},
      {"Traffic Type", trafficType},
  };
  PyRef dict(PyDict_New());
  if (!dict) {
    return Raise(PyExc_RuntimeError, "PyDict_New failed!");
  }
  for (Item& item : items) {
    if (!item.value || PyDict_SetItemString(dict.get(), item.key, item.value.get()) != 0) {
      PyDict_Clear(dict.get());
      return Raise(PyExc_RuntimeError, "PyDict_SetItemString failed!");
    }
    item.value = PyRef();
  }
  return dict.release();
}

}  // namespace pyquelt
