// The configured key management servers. Inside a transaction of the caller.
#pragma once

#include <vector>

#include "embedded_host/store/connection.h"
#include "platform/encryption.h"

namespace quelt {

using HostCtl::Quelt::KmsServerInfo;

/// All servers, in the host's order; only a dump has a use for their passwords.
std::vector<KmsServerInfo> AllKmsServers(Connection& db, bool withPasswords = false);
void AddKmsServer(Connection& db, const KmsServerInfo& server);

/// The id under which the password of a KEK on a KMIP cluster is kept. Different pairs have
/// different ids.
std::string PasswordKeyId(const std::string& kekId, const std::string& kmipClusterId);

}  // namespace quelt
