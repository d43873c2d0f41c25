// Addresses: an accepted text has one normal form, which parses to the same address.
#include "embedded_host/text/addresses.h"
#include "tests/fuzz/fuzz.h"

using HostCtl::Quelt::QueltIpAddress;

void Check(const std::string& input) {
  QueltIpAddress address;
  if (quelt::ParseAddress(input, address)) {
    const std::string normal = quelt::AddressText(address);
    QueltIpAddress again;
    Require(quelt::ParseAddress(normal, again) && again.isIpv6 == address.isIpv6 &&
                quelt::AddressText(again) == normal,
            "the normal form of an address reads as itself");
  }
}
