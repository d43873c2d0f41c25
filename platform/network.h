// Network addresses and the cluster configuration of the host's storage network interfaces.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace HostCtl::Network {

/// An IPv4 address; 0.0.0.0 when default-constructed.
class __attribute__((visibility("default"))) Ipv4Address {
 public:
  Ipv4Address();
  /// `bytes` are in network order.
  explicit Ipv4Address(const std::array<std::uint8_t, 4>& bytes);
  Ipv4Address(const Ipv4Address&) = default;
  Ipv4Address& operator=(const Ipv4Address&) = default;
  ~Ipv4Address();

  /// The address as text, for example "192.0.2.7".
  std::string GetStringAddress() const;

 private:
  std::array<std::uint8_t, 4> bytes_;
};

/// An IPv6 address; :: when default-constructed.
class __attribute__((visibility("default"))) Ipv6Address {
 public:
  Ipv6Address();
  /// `bytes` are in network order.
  explicit Ipv6Address(const std::array<std::uint8_t, 16>& bytes);
  Ipv6Address(const Ipv6Address&) = default;
  Ipv6Address& operator=(const Ipv6Address&) = default;
  ~Ipv6Address();

  /// The address as text, for example "2001:db8::7".
  std::string GetStringAddress() const;

 private:
  std::array<std::uint8_t, 16> bytes_;
};

}  // namespace HostCtl::Network

namespace HostCtl::Quelt {

/// Either an IPv4 or an IPv6 address; the flag tells which member is valid.
struct QueltIpAddress {
  bool isIpv6 = false;
  Network::Ipv4Address ipv4;
  Network::Ipv6Address ipv6;
};

/// One storage kernel network interface. Owned by the caller that received the list. A getter may
/// be called on any thread, with or without the GIL, and reports failure by throwing a
/// std::exception.
class __attribute__((visibility("default"))) QueltZelNicConfig {
 public:
  virtual ~QueltZelNicConfig() = default;
  /// The interface's name, for example "zelnic0".
  virtual std::string GetZelnicName() const = 0;
  /// The interface's UUID text.
  virtual std::string GetIfaceUuid() const = 0;
  /// The multicast groups of agents and masters.
  virtual QueltIpAddress GetAgentMulticastGroup() const = 0;
  virtual QueltIpAddress GetMasterMulticastGroup() const = 0;
  /// The ports of these groups.
  virtual std::int32_t GetAgentMulticastPort() const = 0;
  virtual std::int32_t GetMasterMulticastPort() const = 0;
  /// The port to which the host's unicast channel is bound.
  virtual std::int32_t GetHostUnicastPort() const = 0;
  /// The time to live of multicast packets, in hops.
  virtual std::int32_t GetMulticastTTL() const = 0;
};

/// The same interface with its IPv6 groups and traffic type.
class __attribute__((visibility("default"))) QueltZelNicConfig2 : public QueltZelNicConfig {
 public:
  /// The IPv6 multicast groups of agents and masters.
  virtual QueltIpAddress GetAgentV6MulticastGroup() const = 0;
  virtual QueltIpAddress GetMasterV6MulticastGroup() const = 0;
  /// What the interface carries, for example "quelt" (storage traffic) or "all".
  virtual std::string GetTrafficType() const = 0;
};

}  // namespace HostCtl::Quelt
