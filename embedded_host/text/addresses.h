// IPv4 and IPv6 addresses as text.
#pragma once

#include <string>

#include "platform/network.h"

namespace quelt {

/// Parses an address as inet_pton does. False, with `address` unchanged, when `text` is not one.
bool ParseAddress(const std::string& text, HostCtl::Quelt::QueltIpAddress& address);

/// The canonical text of an address, as inet_ntop writes it.
std::string AddressText(const HostCtl::Quelt::QueltIpAddress& address);

}  // namespace quelt
