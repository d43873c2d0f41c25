#include "embedded_host/text/addresses.h"

#include <arpa/inet.h>

using HostCtl::Quelt::QueltIpAddress;

namespace HostCtl::Network {

Ipv4Address::Ipv4Address() : bytes_{} {}
Ipv4Address::Ipv4Address(const std::array<std::uint8_t, 4>& bytes) : bytes_(bytes) {}
Ipv4Address::~Ipv4Address() = default;

std::string Ipv4Address::GetStringAddress() const {
  char text[INET_ADDRSTRLEN];
  return inet_ntop(AF_INET, bytes_.data(), text, sizeof text);
}

Ipv6Address::Ipv6Address() : bytes_{} {}
Ipv6Address::Ipv6Address(const std::array<std::uint8_t, 16>& bytes) : bytes_(bytes) {}
Ipv6Address::~Ipv6Address() = default;

std::string Ipv6Address::GetStringAddress() const {
  char text[INET6_ADDRSTRLEN];
  return inet_ntop(AF_INET6, bytes_.data(), text, sizeof text);
}

}  // namespace HostCtl::Network

namespace quelt {

bool ParseAddress(const std::string& text, QueltIpAddress& address) {
  if (text.find('\0') != std::string::npos) {
    return false;
  }
  std::array<std::uint8_t, 4> ipv4;
  if (inet_pton(AF_INET, text.c_str(), ipv4.data()) == 1) {
    address = {false, HostCtl::Network::Ipv4Address(ipv4), {}};
    return true;
  }
  std::array<std::uint8_t, 16> ipv6;
  if (inet_pton(AF_INET6, text.c_str(), ipv6.data()) == 1) {
    address = {true, {}, HostCtl::Network::Ipv6Address(ipv6)};
    return true;
  }
  return false;
}

std::string AddressText(const QueltIpAddress& address) {
  return address.isIpv6 ? address.ipv6.GetStringAddress() : address.ipv4.GetStringAddress();
}

}  // namespace quelt
