// Whether a KMS is good: a real TLS connection to each server of a KMIP cluster; for the cloud KMS,
// which has no server here, the answer that the scenario gives.
#include <algorithm>
#include <chrono>
#include <exception>

#include "embedded_host/host_system.h"
#include "embedded_host/kms/server.h"
#include "embedded_host/kms/tls_check.h"
#include "embedded_host/kms/trust_store.h"
#include "embedded_host/operation.h"
#include "platform/quelt_util.h"

namespace quelt {

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr int kDefaultSeconds = 10;
/// The port that is registered for KMIP.
constexpr int kKmipPort = 5696;

/// What the host knows about a KMIP cluster.
struct ClusterFacts {
  std::vector<KmsServerInfo> servers;
  std::vector<std::string> trusted;
  bool knowsKey = false;
};

ClusterFacts ReadFacts(Connection& db, const std::string& clusterId, const std::string& keyId) {
  ClusterFacts facts;
  facts.servers = AllKmsServers(db);
  std::erase_if(facts.servers,
                [&](const auto& server) { return server.kmipClusterId != clusterId; });
  facts.trusted = TrustedCertificates(db);
  Rows rows =
      db.Query("SELECT 1 FROM kms_key WHERE kmip_cluster_id = ? AND key_id = ?", clusterId, keyId);
  facts.knowsKey = rows.Next();
  return facts;
}

int PortOf(const KmsServerInfo& server) { return server.port == -1 ? kKmipPort : server.port; }

std::string NameOf(const KmsServerInfo& server) {
  return "KMS server \"" + server.name + "\" (" + server.address + ":" +
         std::to_string(PortOf(server)) + ")";
}

void CheckServer(const KmsServerInfo& server, const std::vector<std::string>& trusted,
                 Deadline deadline) {
  if (!server.proxyAddress.empty()) {
    throw ServerFailure("it is behind a proxy, which this host cannot use");
  }
  if (server.address.empty()) {
    throw ServerFailure("it has no address");
  }
  if (server.timeout > 0) {
    deadline = std::min(deadline, steady_clock::now() + seconds(server.timeout));
  }
  CheckTlsServer(server.address, PortOf(server), trusted, deadline);
}

/// Why servers are not good; "" when all are. A server that does not answer leaves the others their
/// share of the time.
std::string CheckServers(const ClusterFacts& facts, Deadline deadline) {
  std::string reasons;
  auto waiting = static_cast<std::ptrdiff_t>(facts.servers.size());
  for (const KmsServerInfo& server : facts.servers) {
    const steady_clock::time_point now = steady_clock::now();
    try {
      CheckServer(server, facts.trusted, now + (deadline - now) / waiting--);
    } catch (const ServerFailure& failure) {
      reasons += (reasons.empty() ? "" : "; ") + NameOf(server) + ": " + failure.what();
    }
  }
  return reasons;
}

}  // namespace

bool EmbeddedHostSystem::QueryKmsStatus(const std::string& kmipClusterId, const std::string& keyId,
                                        int timeLimit, std::string& reason) {
  const auto check = [&] {
    const Deadline deadline =
        steady_clock::now() + seconds(timeLimit > 0 ? timeLimit : kDefaultSeconds);
    // No connection to the store is held while servers are waited for.
    const ClusterFacts facts = Store::Instance().Snapshot(
        [&](Connection& db) { return ReadFacts(db, kmipClusterId, keyId); });
    if (facts.servers.empty()) {
      reason = "No server of KMIP cluster \"" + kmipClusterId + "\" is configured";
      return false;
    }
    reason = CheckServers(facts, deadline);
    if (reason.empty() && !facts.knowsKey) {
      reason = "KMIP cluster \"" + kmipClusterId + "\" has no key \"" + keyId + "\"";
    }
    return reason.empty();
  };
  return Operation("QueryKmsStatus", {{"kmipClusterId", kmipClusterId},
                                      {"keyId", keyId},
                                      {"seconds", std::int64_t{timeLimit}}})
      .Run(check, Refused(false));
}

}  // namespace quelt

bool ZelCtl::Quelt::QueltUtil::CheckCloudKmsStatus(const std::string& text, std::string& error) {
  return quelt::Operation("CheckCloudKmsStatus", {{"text", text}})
      .Read(
          [&](quelt::Connection& db) {
            quelt::Rows rows = db.Query("SELECT good, error FROM cloud_kms WHERE text = ?", text);
            if (!rows.Next()) {
              error = "The host knows no cloud KMS \"" + text + "\"";
              return false;
            }
            error = rows.Text(1);
            return rows.Boolean(0);
          },
          quelt::Refused(false));
}
