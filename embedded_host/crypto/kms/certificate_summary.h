// The facts by which an administrator identifies a certificate.
#pragma once

#include <string>

#include "embedded_host/crypto/kms/certificate.h"

namespace quelt {

struct CertificateSummary {
  std::string subject;      ///< as in RFC 2253: "CN=kms.example,O=Example"
  std::string validFrom;    ///< "2026-11-22 23:47:14 UTC"
  std::string validUntil;   ///< in the same form
  std::string fingerprint;  ///< SHA-256, 64 hexadecimal digits
};

CertificateSummary Summarize(const X509& certificate);

}  // namespace quelt
