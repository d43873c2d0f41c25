// X.509 certificates in PEM form.
#pragma once

#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

#include "embedded_host/crypto/openssl.h"

namespace quelt {

using Certificate = std::unique_ptr<X509, FreedWithForksBlocked<X509_free>>;

/// All certificates that `text` contains, in order, each between its BEGIN and END lines. Line
/// breaks may be missing or of any kind, and there may be comments between certificates. Throws
/// QueltCtlException if there is no certificate, or if one can't be read, with its position.
std::vector<Certificate> ReadCertificates(const std::string& text);

/// Certificates in PEM form, in lines of 64 characters.
std::string PemText(const X509& certificate);
std::string PemText(const std::vector<Certificate>& certificates);

/// SHA-256 of the certificate's DER form, 64 hexadecimal digits.
std::string Fingerprint(const X509& certificate);

}  // namespace quelt
