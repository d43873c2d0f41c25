// Whether a server speaks TLS and shows a certificate that is trusted, valid and its own.
#pragma once

#include <string>
#include <vector>

#include "embedded_host/kms/socket.h"

namespace quelt {

/// Connects, shakes hands, verifies and disconnects. `trusted` are certificates in PEM form; there
/// is no way around the verification. Throws ServerFailure with the reason.
void CheckTlsServer(const std::string& host, int port, const std::vector<std::string>& trusted,
                    Deadline deadline);

}  // namespace quelt
