// Certificate texts: a refusal is the host library's exception, and what is accepted has one normal
// form, which reads as the same certificate.
#include "embedded_host/kms/certificate.h"

#include "platform/exception.h"
#include "tests/fuzz/fuzz.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const quelt::Certificate certificate = quelt::ReadCertificate(TextOf(data, size));
    const std::string normal = quelt::PemText(*certificate);
    const quelt::Certificate again = quelt::ReadCertificate(normal);
    Promise(quelt::PemText(*again) == normal &&
                quelt::Fingerprint(*again) == quelt::Fingerprint(*certificate),
            "the normal form of a certificate reads as itself");
  } catch (const HostCtl::Lib::Quelt::QueltCtlException&) {
    // refused
  }
  return 0;
}
