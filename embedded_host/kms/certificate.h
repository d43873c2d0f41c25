// X.509 certificates as texts.
#pragma once

#include <openssl/x509.h>

#include <memory>
#include <string>

#include "embedded_host/crypto/openssl.h"

namespace quelt {

using Certificate = std::unique_ptr<X509, FreedBy<X509_free>>;

/// The one certificate that `text` holds between its BEGIN and END lines; line breaks may be lost
/// or others. Throws QueltCtlException when there is none, more than one, or it cannot be read.
Certificate ReadCertificate(const std::string& text);

/// The certificate in PEM form, in lines of 64 characters.
std::string PemText(const X509& certificate);

/// SHA-256 of its DER form, 64 hexadecimal digits.
std::string Fingerprint(const X509& certificate);

}  // namespace quelt
