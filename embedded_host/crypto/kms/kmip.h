// One KMIP exchange, Discover Versions, in the TTLV encoding (OASIS Key Management Interoperability
// Protocol Specification 1.1, sections 4.26 and 9.1).
#pragma once

#include <string>
#include <string_view>

namespace quelt {

/// The encoded request message.
std::string DiscoverVersionsRequest();

/// Whether `received` is the complete response message. Throws ServerFailure as soon as it can't
/// become one, and if the server rejects the request.
bool IsDiscoverVersionsResponse(std::string_view received);

}  // namespace quelt
