// The status of a KMS: one KMIP exchange with each server of a KMIP cluster. For the cloud KMS,
// which this host does not connect to, the status that the scenario defines.
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <deque>
#include <system_error>

#include "embedded_host/crypto/kms/client_certificate.h"
#include "embedded_host/crypto/kms/recorded_status.h"
#include "embedded_host/crypto/kms/server.h"
#include "embedded_host/crypto/kms/server_check.h"
#include "embedded_host/crypto/kms/trust_store.h"
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "platform/quelt_util.h"

namespace quelt {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr int kDefaultSeconds = 10;

/// The configuration of a KMIP cluster.
struct ClusterConfiguration {
  std::vector<KmsServerInfo> servers;
  std::vector<std::string> trusted;
  ClientCertificate client;
  bool hasKey = false;
  std::optional<KmsStatus> recorded;
};

ClusterConfiguration ReadConfiguration(Connection& db, const std::string& clusterId,
                                       const std::string& keyId) {
  ClusterConfiguration cluster;
  cluster.servers = AllKmsServers(db);
  std::erase_if(cluster.servers,
                [&](const auto& server) { return server.kmipClusterId != clusterId; });
  cluster.trusted = TrustedCertificates(db);
  cluster.client = ReadClientCertificate(db, clusterId);
  Rows rows =
      db.Query("SELECT 1 FROM kms_key WHERE kmip_cluster_id = ? AND key_id = ?", clusterId, keyId);
  cluster.hasKey = rows.Next();
  cluster.recorded = FindRecordedStatus(db, clusterId, keyId);
  return cluster;
}

void Poll(std::vector<pollfd>& awaited, Deadline until) {
  const auto left = std::chrono::ceil<milliseconds>(until - steady_clock::now());
  const auto wait = std::clamp(left, milliseconds(0), milliseconds(seconds(3600)));
  if (poll(awaited.data(), awaited.size(), static_cast<int>(wait.count())) < 0 && errno != EINTR) {
    throw std::system_error(errno, std::generic_category(), "Cannot wait for the key servers");
  }
}

/// Runs all checks concurrently until each has finished or timed out.
void RunChecks(std::deque<ServerCheck>& checks) {
  for (;;) {
    std::vector<ServerCheck*> open;
    std::vector<pollfd> awaited;
    Deadline until = Deadline::max();
    for (ServerCheck& check : checks) {
      if (!check.finished()) {
        open.push_back(&check);
        awaited.push_back(check.awaited());
        until = std::min(until, check.awaited_until());
      }
    }
    if (open.empty()) {
      return;
    }
    Poll(awaited, until);
    const Deadline now = steady_clock::now();
    for (std::size_t i = 0; i < open.size(); ++i) {
      if (awaited[i].revents != 0) {
        open[i]->Continue(false);
      }
      if (!open[i]->finished() && now >= open[i]->awaited_until()) {
        open[i]->Continue(true);
      }
    }
  }
}

/// Whether at least one server is good. Sets `reason` to the failures of the others.
bool IsAnyServerGood(const ClusterConfiguration& cluster, Deadline deadline, std::string& reason) {
  const TlsContext tls(cluster.trusted, cluster.client);
  std::deque<ServerCheck> checks;
  for (const KmsServerInfo& server : cluster.servers) {
    checks.emplace_back(server, tls, deadline);
  }
  RunChecks(checks);
  bool good = false;
  for (std::size_t i = 0; i < checks.size(); ++i) {
    const std::string& failure = checks[i].failure();
    good = good || failure.empty();
    if (!failure.empty()) {
      reason += (reason.empty() ? "" : "; ") + DescribeServer(cluster.servers[i]) + ": " + failure;
    }
  }
  return good;
}

}  // namespace

bool EmbeddedHostSystem::QueryKmsStatus(const std::string& kmipClusterId, const std::string& keyId,
                                        int timeLimit, std::string& reason) {
  const auto check = [&] {
    const Deadline deadline =
        steady_clock::now() + seconds(timeLimit > 0 ? timeLimit : kDefaultSeconds);
    // Read everything first: no database connection is held while waiting for servers.
    const ClusterConfiguration cluster = Store::Instance().Snapshot(
        [&](Connection& db) { return ReadConfiguration(db, kmipClusterId, keyId); });
    if (cluster.recorded) {
      reason = cluster.recorded->reason;
      return cluster.recorded->good;
    }
    if (cluster.servers.empty()) {
      reason = "No server of KMIP cluster \"" + kmipClusterId + "\" is configured";
      return false;
    }
    reason.clear();
    bool good = IsAnyServerGood(cluster, deadline, reason);
    if (!cluster.hasKey) {
      good = false;
      reason += (reason.empty() ? "" : "; ") + ("KMIP cluster \"" + kmipClusterId) +
                "\" has no key \"" + keyId + "\"";
    }
    return good;
  };
  return Operation("QueryKmsStatus", {{"kmipClusterId", kmipClusterId},
                                      {"keyId", keyId},
                                      {"seconds", std::int64_t{timeLimit}}})
      .Run(check, FailureAnswer(false));
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
          quelt::FailureAnswer(false));
}
