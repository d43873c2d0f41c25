// IPv4 and IPv6 addresses as texts, by the system's own routines.
#pragma once

#include <string>

#include "platform/network.h"

namespace quelt {

/// True: `address` is what `text` writes. False: it writes no address.
bool ParseAddress(const std::string& text, HostCtl::Quelt::QueltIpAddress& address);

/// The one normal form of an address.
std::string AddressText(const HostCtl::Quelt::QueltIpAddress& address);

}  // namespace quelt
