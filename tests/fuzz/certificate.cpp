// Certificate texts: a rejection is the host library's exception; an accepted text has one normal
// form, which parses to the same certificates.
#include "embedded_host/crypto/kms/certificate.h"

#include <algorithm>

#include "platform/exception.h"
#include "tests/fuzz/fuzz.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const auto certificates = quelt::ReadCertificates(TextOf(data, size));
    const std::string normal = quelt::PemText(certificates);
    const auto again = quelt::ReadCertificates(normal);
    Require(
        !certificates.empty() && quelt::PemText(again) == normal &&
            std::ranges::equal(
                again, certificates, {}, [](const auto& each) { return quelt::Fingerprint(*each); },
                [](const auto& each) { return quelt::Fingerprint(*each); }),
        "the normal form of certificates reads as themselves");
  } catch (const HostCtl::Lib::Quelt::QueltCtlException&) {
    // rejected
  }
  return 0;
}
