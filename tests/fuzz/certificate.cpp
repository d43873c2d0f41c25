// Certificate texts: a rejection is the host library's exception; an accepted text has one normal
// form, which parses to the same certificates.
#include "embedded_host/crypto/kms/certificate.h"

#include <algorithm>

#include "platform/exception.h"
#include "tests/fuzz/fuzz.h"

void Check(const std::string& input) {
  try {
    const auto certificates = quelt::ReadCertificates(input);
    const std::string normal = quelt::PemText(certificates);
    const auto again = quelt::ReadCertificates(normal);
    const auto fingerprint = [](const auto& each) { return quelt::Fingerprint(*each); };
    Require(!certificates.empty() && quelt::PemText(again) == normal &&
                std::ranges::equal(again, certificates, {}, fingerprint, fingerprint),
            "the normal form of certificates reads as themselves");
  } catch (const HostCtl::Lib::Quelt::QueltCtlException&) {
    // rejected
  }
}
