#include "embedded_host/crypto/kms/trust_store.h"

#include "embedded_host/operation/operation.h"
#include "platform/quelt_util.h"

namespace quelt {

void AddTrustedCertificates(Connection& db, const std::string& text) {
  for (const Certificate& certificate : ReadCertificates(text)) {
    db.Execute("INSERT OR IGNORE INTO trusted_certificate (fingerprint, pem) VALUES (?, ?)",
               Fingerprint(*certificate), PemText(*certificate));
  }
}

std::vector<std::string> TrustedCertificates(Connection& db) {
  std::vector<std::string> certificates;
  Rows rows = db.Query("SELECT pem FROM trusted_certificate ORDER BY position");
  while (rows.Next()) {
    certificates.push_back(rows.Text(0));
  }
  return certificates;
}

}  // namespace quelt

namespace ZelCtl::Quelt {

using quelt::Connection;
using quelt::Operation;

std::string QueltUtil::FormatCertString(const std::string& certificate) {
  return Operation("FormatCertString", {{"certificate", certificate}}).Run([&] {
    return quelt::PemText(quelt::ReadCertificates(certificate));
  });
}

void QueltUtil::AddKmsCertToTrustStore(const std::string& certificate, bool flag) {
  Operation("AddKmsCertToTrustStore", {{"certificate", certificate}, {"flag", flag}})
      .Write([&](Connection& db) { quelt::AddTrustedCertificates(db, certificate); });
}

}  // namespace ZelCtl::Quelt
