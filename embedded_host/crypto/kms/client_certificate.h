// The client certificates with which the host identifies itself to the servers of a KMIP cluster.
#pragma once

#include <string>
#include <vector>

#include "embedded_host/crypto/kms/certificate.h"
#include "embedded_host/store/connection.h"

namespace quelt {

using PrivateKey = std::unique_ptr<EVP_PKEY, FreedWithForksBlocked<EVP_PKEY_free>>;

struct ClientCertificate {
  /// The client's own first, then those of its issuers. Empty: the cluster has none.
  std::vector<Certificate> chain;
  /// Null if the scenario left it out.
  PrivateKey key;
};

/// Stores the certificate of a cluster that has none yet. `chain` and `key` are PEM texts; an empty
/// key is one that was left out. Throws QueltCtlException if they can't be read or don't belong
/// together, or if the key needs a passphrase. Inside a transaction of the caller.
void AddClientCertificate(Connection& db, const std::string& kmipClusterId,
                          const std::string& chain, const std::string& key);

/// The certificate of a cluster. The key passes through no buffer of our own.
ClientCertificate ReadClientCertificate(Connection& db, const std::string& kmipClusterId);

}  // namespace quelt
