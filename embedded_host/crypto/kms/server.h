// The table of key management servers. Every function runs inside the caller's transaction.
#pragma once

#include <vector>

#include "embedded_host/store/connection.h"
#include "platform/encryption.h"

namespace quelt {

using HostCtl::Quelt::KmsServerInfo;

/// All servers, in the order of the table. Only a dump reads their passwords.
std::vector<KmsServerInfo> AllKmsServers(Connection& db, bool withPasswords = false);
void AddKmsServer(Connection& db, const KmsServerInfo& server);

/// The id under which the password for a KEK on a KMIP cluster is stored. Unique for each pair.
std::string PasswordKeyId(const std::string& kekId, const std::string& kmipClusterId);

}  // namespace quelt
