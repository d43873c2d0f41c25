// Whether a KMS is good: one KMIP exchange with each server of a KMIP cluster; for the cloud KMS,
// which has no server here, the answer that the scenario gives.
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <deque>
#include <system_error>

#include "embedded_host/crypto/kms/client_certificate.h"
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

/// What the host knows about a KMIP cluster.
struct ClusterFacts {
  std::vector<KmsServerInfo> servers;
  std::vector<std::string> trusted;
  ClientCertificate client;
  bool knowsKey = false;
};

ClusterFacts ReadFacts(Connection& db, const std::string& clusterId, const std::string& keyId) {
  ClusterFacts facts;
  facts.servers = AllKmsServers(db);
  std::erase_if(facts.servers,
                [&](const auto& server) { return server.kmipClusterId != clusterId; });
  facts.trusted = TrustedCertificates(db);
  facts.client = ReadClientCertificate(db, clusterId);
  Rows rows =
      db.Query("SELECT 1 FROM kms_key WHERE kmip_cluster_id = ? AND key_id = ?", clusterId, keyId);
  facts.knowsKey = rows.Next();
  return facts;
}

void Poll(std::vector<pollfd>& awaited, Deadline until) {
  const auto left = std::chrono::ceil<milliseconds>(until - steady_clock::now());
  const auto wait = std::clamp(left, milliseconds(0), milliseconds(seconds(3600)));
  if (poll(awaited.data(), awaited.size(), static_cast<int>(wait.count())) < 0 && errno != EINTR) {
    throw std::system_error(errno, std::generic_category(), "Key servers cannot be waited for");
  }
}

/// Waits for all checks at the same time. Each ends within its own time.
void Finish(std::deque<ServerCheck>& checks) {
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

/// Whether one server is good; `reason` names the others and why they are not.
bool IsOneGood(const ClusterFacts& facts, Deadline deadline, std::string& reason) {
  const TlsContext tls(facts.trusted, facts.client);
  std::deque<ServerCheck> checks;
  for (const KmsServerInfo& server : facts.servers) {
    checks.emplace_back(server, tls, deadline);
  }
  Finish(checks);
  bool good = false;
  for (std::size_t i = 0; i < checks.size(); ++i) {
    const std::string& failure = checks[i].failure();
    good = good || failure.empty();
    if (!failure.empty()) {
      reason += (reason.empty() ? "" : "; ") + NameOf(facts.servers[i]) + ": " + failure;
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
    // No connection to the store is held while servers are waited for.
    const ClusterFacts facts = Store::Instance().Snapshot(
        [&](Connection& db) { return ReadFacts(db, kmipClusterId, keyId); });
    if (facts.servers.empty()) {
      reason = "No server of KMIP cluster \"" + kmipClusterId + "\" is configured";
      return false;
    }
    reason.clear();
    bool good = IsOneGood(facts, deadline, reason);
    if (!facts.knowsKey) {
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
