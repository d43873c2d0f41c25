#include "embedded_host/crypto/kms/certificate_summary.h"

#include <openssl/bio.h>

#include <array>
#include <ctime>

#include "embedded_host/store/pool.h"

namespace quelt {

namespace {

std::string SubjectText(const X509& certificate) {
  const std::unique_ptr<BIO, FreedBy<BIO_free_all>> memory(BIO_new(BIO_s_mem()));
  constexpr unsigned long kUtf8 = XN_FLAG_RFC2253 & ~ASN1_STRFLGS_ESC_MSB;
  if (memory == nullptr ||
      X509_NAME_print_ex(memory.get(), X509_get_subject_name(&certificate), 0, kUtf8) < 0) {
    ThrowOpensslFailure("The certificate's subject cannot be written");
  }
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return std::string(text, static_cast<std::size_t>(length));
}

std::string TimeText(const ASN1_TIME* time) {
  std::tm parts{};
  std::array<char, 64> text{};
  if (ASN1_TIME_to_tm(time, &parts) != 1 ||
      std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &parts) == 0) {
    ThrowOpensslFailure("The certificate's validity cannot be read");
  }
  return text.data();
}

}  // namespace

CertificateSummary Summarize(const X509& certificate) {
  CertificateSummary summary;
  summary.fingerprint = Fingerprint(certificate);
  const ForkBlocker forkBlocker;
  summary.subject = SubjectText(certificate);
  summary.validFrom = TimeText(X509_get0_notBefore(&certificate));
  summary.validUntil = TimeText(X509_get0_notAfter(&certificate));
  return summary;
}

}  // namespace quelt
