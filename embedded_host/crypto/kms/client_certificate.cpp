#include "embedded_host/crypto/kms/client_certificate.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include "platform/exception.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

/// Null for an empty text.
PrivateKey ParseKey(Bytes text) {
  if (text.empty()) {
    return nullptr;
  }
  const std::unique_ptr<BIO, FreedBy<BIO_free_all>> memory(
      BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  // Without this function OpenSSL would ask for a passphrase on the terminal.
  const auto noPassphrase = [](char*, int, int, void*) { return -1; };
  PrivateKey key(PEM_read_bio_PrivateKey(memory.get(), nullptr, noPassphrase, nullptr));
  if (key == nullptr) {
    ERR_clear_error();
    throw QueltCtlException("The key cannot be read as an unencrypted private key in PEM form");
  }
  return key;
}

ClientCertificate Parse(const std::string& chain, Bytes key) {
  ClientCertificate client{ReadCertificates(chain), ParseKey(key)};
  if (client.key != nullptr &&
      X509_check_private_key(client.chain.front().get(), client.key.get()) != 1) {
    ERR_clear_error();
    throw QueltCtlException("The key is not that of the first certificate");
  }
  return client;
}

}  // namespace

void AddClientCertificate(Connection& db, const std::string& kmipClusterId,
                          const std::string& chain, const std::string& key) {
  const ForkBlocker forkBlocker;
  const ClientCertificate client =
      Parse(chain, Bytes(reinterpret_cast<const std::uint8_t*>(key.data()), key.size()));
  db.Execute("INSERT INTO kms_client (kmip_cluster_id, certificates, key) VALUES (?, ?, ?)",
             kmipClusterId, PemText(client.chain), key);
}

ClientCertificate ReadClientCertificate(Connection& db, const std::string& kmipClusterId) {
  Rows rows =
      db.Query("SELECT certificates, key FROM kms_client WHERE kmip_cluster_id = ?", kmipClusterId);
  return rows.Next() ? Parse(rows.Text(0), rows.Blob(1)) : ClientCertificate{};
}

}  // namespace quelt
