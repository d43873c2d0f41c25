// The configured key management servers, and passwords by key id.
#include "embedded_host/crypto/kms/server.h"
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "platform/quelt_util.h"

namespace quelt {

std::vector<KmsServerInfo> AllKmsServers(Connection& db, bool withPasswords) {
  std::vector<KmsServerInfo> servers;
  Rows rows = db.Query(
      "SELECT name, kmip_cluster_id, user_name, iif(?, password, ''), address, protocol, "
      "proxy_address, port, proxy_port, reconnect, nbio, timeout FROM kms_server ORDER BY position",
      withPasswords);
  while (rows.Next()) {
    KmsServerInfo& server = servers.emplace_back();
    server.name = rows.Text(0);
    server.kmipClusterId = rows.Text(1);
    server.userName = rows.Text(2);
    server.password = rows.Text(3);
    server.address = rows.Text(4);
    server.protocol = rows.Text(5);
    server.proxyAddress = rows.Text(6);
    server.port = static_cast<std::int32_t>(rows.Integer(7));
    server.proxyPort = static_cast<std::int32_t>(rows.Integer(8));
    server.reconnect = static_cast<std::int32_t>(rows.Integer(9));
    server.nbio = static_cast<std::int32_t>(rows.Integer(10));
    server.timeout = static_cast<std::int32_t>(rows.Integer(11));
  }
  return servers;
}

void AddKmsServer(Connection& db, const KmsServerInfo& server) {
  db.Execute(
      "INSERT INTO kms_server (name, kmip_cluster_id, user_name, password, address, protocol, "
      "proxy_address, port, proxy_port, reconnect, nbio, timeout) "
      "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
      server.name, server.kmipClusterId, server.userName, server.password, server.address,
      server.protocol, server.proxyAddress, server.port, server.proxyPort, server.reconnect,
      server.nbio, server.timeout);
}

std::string PasswordKeyId(const std::string& kekId, const std::string& kmipClusterId) {
  return std::to_string(kekId.size()) + ":" + kekId + "@" + kmipClusterId;
}

std::shared_ptr<std::vector<KmsServerInfo>> EmbeddedHostSystem::GetKmsInfoList(bool flag) {
  return Operation("GetKmsInfoList", {{"flag", flag}}).Read([](Connection& db) {
    return std::make_shared<std::vector<KmsServerInfo>>(AllKmsServers(db));
  });
}

}  // namespace quelt

namespace ZelCtl::Quelt {

using quelt::Bytes;
using quelt::Connection;
using quelt::FailureAnswer;
using quelt::Operation;
using quelt::Rows;

std::string QueltUtil::KeyIdForKek(const std::string& first, const std::string& second) {
  return Operation("KeyIdForKek", {{"first", first}, {"second", second}}).Run([&] {
    return quelt::PasswordKeyId(first, second);
  });
}

bool QueltUtil::GetKmsPasswordFromConfigStore(const std::string& keyId, std::string& password) {
  return Operation("GetKmsPasswordFromConfigStore", {{"keyId", keyId}})
      .Read(
          [&](Connection& db) {
            Rows rows = db.Query("SELECT password FROM kms_password WHERE key_id = ?", keyId);
            if (!rows.Next()) {
              return false;
            }
            const Bytes text = rows.Blob(0);
            password.assign(text.begin(), text.end());  // no other copy needs to be wiped
            return true;
          },
          FailureAnswer(false));
}

}  // namespace ZelCtl::Quelt
