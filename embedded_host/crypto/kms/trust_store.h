// The table of trusted certificates: those of key management servers or of their issuers, each
// stored once, in PEM form. Every function runs inside the caller's transaction.
#pragma once

#include <string>
#include <vector>

#include "embedded_host/crypto/kms/certificate.h"
#include "embedded_host/store/connection.h"

namespace quelt {

/// Adds all certificates of `text`. Throws as ReadCertificates does, without adding any.
void AddTrustedCertificates(Connection& db, const std::string& text);

/// All certificates, in the order in which they were added.
std::vector<std::string> TrustedCertificates(Connection& db);

}  // namespace quelt
