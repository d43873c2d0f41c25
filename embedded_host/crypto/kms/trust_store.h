// The certificates that key management servers may show, or that signed theirs. Each is kept once,
// in PEM form. Inside a transaction of the caller.
#pragma once

#include <string>
#include <vector>

#include "embedded_host/crypto/kms/certificate.h"
#include "embedded_host/store/connection.h"

namespace quelt {

/// Adds all certificates of a text, or none: see ReadCertificates.
void Trust(Connection& db, const std::string& text);

/// All certificates, in the order of their addition.
std::vector<std::string> TrustedCertificates(Connection& db);

}  // namespace quelt
