// X.509 certificates as texts.
#pragma once

#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

#include "embedded_host/crypto/openssl.h"

namespace quelt {

using Certificate = std::unique_ptr<X509, FreedWithForksBlocked<X509_free>>;

/// All certificates that `text` contains, in its order, each between its BEGIN and END lines; line
/// breaks may be missing or of another kind, and comments may stand between certificates. Throws
/// QueltCtlException if there is none, or if one can't be read, with its position in the text.
std::vector<Certificate> ReadCertificates(const std::string& text);

/// Certificates in PEM form, in lines of 64 characters.
std::string PemText(const X509& certificate);
std::string PemText(const std::vector<Certificate>& certificates);

/// SHA-256 of its DER form, 64 hexadecimal digits.
std::string Fingerprint(const X509& certificate);

}  // namespace quelt
