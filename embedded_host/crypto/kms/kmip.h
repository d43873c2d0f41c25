// One KMIP exchange, Discover Versions, in the TTLV encoding (OASIS Key Management Interoperability
// Protocol Specification 1.1, sections 4.26 and 9.1).
#pragma once

#include <string>
#include <string_view>

namespace quelt {

/// The encoded request message.
std::string DiscoverVersionsRequest();

/// Whether `received` is a complete response message; false while bytes are missing. Throws
/// ServerFailure as soon as it is not the start of one, and if the server rejects the request.
bool IsDiscoverVersionsResponse(std::string_view received);

}  // namespace quelt
