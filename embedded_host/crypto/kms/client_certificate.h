// The client certificates with which the host identifies itself to the servers of a KMIP cluster.
#pragma once

#include <string>
#include <vector>

#include "embedded_host/crypto/kms/certificate.h"
#include "embedded_host/store/connection.h"

namespace quelt {

using PrivateKey = std::unique_ptr<EVP_PKEY, FreedWithForksBlocked<EVP_PKEY_free>>;

struct ClientCertificate {
  /// The client's certificate, followed by those of its issuers. Empty if the cluster has none.
  std::vector<Certificate> chain;
  /// Null if the scenario omits it.
  PrivateKey key;
};

/// Stores the certificate of a cluster that has none yet. `chain` and `key` are PEM texts; `key` is
/// empty if the scenario omits it. Throws QueltCtlException if they can't be read or don't belong
/// together, or if the key needs a passphrase. Runs inside the caller's transaction.
void AddClientCertificate(Connection& db, const std::string& kmipClusterId,
                          const std::string& chain, const std::string& key);

/// The certificate of a cluster. OpenSSL reads the key from SQLite's buffer: no copy of it needs to
/// be wiped. Runs inside the caller's transaction.
ClientCertificate ReadClientCertificate(Connection& db, const std::string& kmipClusterId);

}  // namespace quelt
