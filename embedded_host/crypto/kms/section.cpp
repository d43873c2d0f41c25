// The scenario keys "kms" (key management servers with their keys and passwords, client
// certificates, trusted certificates, recorded statuses) and "cloudKms" (status answers of the
// cloud KMS).
#include "embedded_host/crypto/kms/client_certificate.h"
#include "embedded_host/crypto/kms/recorded_status.h"
#include "embedded_host/crypto/kms/sections.h"
#include "embedded_host/crypto/kms/server.h"
#include "embedded_host/crypto/kms/trust_store.h"
#include "platform/exception.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;
using nlohmann::json;

namespace {

constexpr std::string_view kKeys[] = {"kms", "cloudKms"};

template <typename T>
using Member = T KmsServerInfo::*;

struct TextField {
  const char* key;
  Member<std::string> member;
  bool secret = false;
};
constexpr TextField kTextFields[] = {
    {"name", &KmsServerInfo::name},
    {"kmipClusterId", &KmsServerInfo::kmipClusterId},
    {"userName", &KmsServerInfo::userName},
    {"password", &KmsServerInfo::password, true},
    {"address", &KmsServerInfo::address},
    {"protocol", &KmsServerInfo::protocol},
    {"proxyAddress", &KmsServerInfo::proxyAddress},
};

struct NumberField {
  const char* key;
  Member<std::int32_t> member;
  std::int32_t max = std::numeric_limits<std::int32_t>::max();
};
constexpr NumberField kNumberFields[] = {
    {"port", &KmsServerInfo::port, 65535},    {"proxyPort", &KmsServerInfo::proxyPort, 65535},
    {"reconnect", &KmsServerInfo::reconnect}, {"nbio", &KmsServerInfo::nbio},
    {"timeout", &KmsServerInfo::timeout},
};

void LoadServer(Connection& db, const Node& node) {
  node.AllowOnly({"name", "kmipClusterId", "userName", "password", "address", "protocol",
                  "proxyAddress", "port", "proxyPort", "reconnect", "nbio", "timeout"});
  KmsServerInfo server;
  for (const TextField& field : kTextFields) {
    server.*field.member = node.TextOr(field.key, "");
  }
  for (const NumberField& field : kNumberFields) {
    server.*field.member = static_cast<std::int32_t>(node.IntegerOr(field.key, -1, -1, field.max));
  }
  AddKmsServer(db, server);
}

void LoadKeys(Connection& db, const Node& keys) {
  for (const auto& [clusterId, keyIds] : keys.Members()) {
    for (const Node& keyId : keyIds.Items()) {
      db.Execute("INSERT OR IGNORE INTO kms_key (kmip_cluster_id, key_id) VALUES (?, ?)", clusterId,
                 keyId.Text());
    }
  }
}

void LoadPassword(Connection& db, const Node& node) {
  node.AllowOnly({"kekId", "kmipClusterId", "password"});
  const std::string kekId = node.At("kekId").Text();
  const std::string clusterId = node.At("kmipClusterId").Text();
  const int added = db.Execute(
      "INSERT OR IGNORE INTO kms_password (key_id, kek_id, kmip_cluster_id, password) "
      "VALUES (?, ?, ?, ?)",
      PasswordKeyId(kekId, clusterId), kekId, clusterId, node.At("password").Text());
  if (added == 0) {
    node.Fail("a KEK and KMIP cluster that no other password has");
  }
}

void LoadCertificate(Connection& db, const Node& node) {
  try {
    AddTrustedCertificates(db, node.Text());
  } catch (const QueltCtlException& failure) {
    node.Fail(std::string("certificates in PEM form (") + failure.what() + ")");
  }
}

void LoadClientCertificate(Connection& db, const std::string& clusterId, const Node& node) {
  node.AllowOnly({"certificate", "key"});
  try {
    AddClientCertificate(db, clusterId, node.At("certificate").Text(), node.TextOr("key", ""));
  } catch (const QueltCtlException& failure) {
    node.Fail(std::string("a certificate and its key in PEM form (") + failure.what() + ")");
  }
}

void LoadKms(Connection& db, const Node& kms) {
  kms.AllowOnly(
      {"servers", "keys", "passwords", "clientCertificates", "trustedCertificates", "statuses"});
  if (const auto servers = kms.Find("servers")) {
    for (const Node& server : servers->Items()) {
      LoadServer(db, server);
    }
  }
  if (const auto keys = kms.Find("keys")) {
    LoadKeys(db, *keys);
  }
  if (const auto passwords = kms.Find("passwords")) {
    for (const Node& password : passwords->Items()) {
      LoadPassword(db, password);
    }
  }
  if (const auto clients = kms.Find("clientCertificates")) {
    for (const auto& [clusterId, client] : clients->Members()) {
      LoadClientCertificate(db, clusterId, client);
    }
  }
  if (const auto certificates = kms.Find("trustedCertificates")) {
    for (const Node& certificate : certificates->Items()) {
      LoadCertificate(db, certificate);
    }
  }
  if (const auto statuses = kms.Find("statuses")) {
    LoadRecordedStatuses(db, *statuses);
  }
}

void Load(Connection& db, const Node& root) {
  if (const auto kms = root.Find("kms")) {
    LoadKms(db, *kms);
  }
  if (const auto answers = root.Find("cloudKms")) {
    for (const auto& [text, answer] : answers->Members()) {
      answer.AllowOnly({"good", "error"});
      db.Execute("INSERT INTO cloud_kms (text, good, error) VALUES (?, ?, ?)", text,
                 answer.At("good").Boolean(), answer.TextOr("error", ""));
    }
  }
}

json DumpServer(const KmsServerInfo& server, bool withSecrets) {
  json dumped = json::object();
  for (const TextField& field : kTextFields) {
    if (!(server.*field.member).empty() && (withSecrets || !field.secret)) {
      dumped[field.key] = server.*field.member;
    }
  }
  for (const NumberField& field : kNumberFields) {
    if (server.*field.member != -1) {
      dumped[field.key] = server.*field.member;
    }
  }
  return dumped;
}

/// Records which passwords a dump without secrets omits.
void OmitPasswords(Connection& db, json& document) {
  Rows servers = db.Query("SELECT password <> '' FROM kms_server ORDER BY position");
  for (int i = 0; servers.Next(); ++i) {
    if (servers.Boolean(0)) {
      OmitSecret(document, "/kms/servers/" + std::to_string(i) + "/password");
    }
  }
  if (db.Query("SELECT 1 FROM kms_password").Next()) {
    OmitSecret(document, "/kms/passwords");
  }
}

void Dump(Connection& db, bool withSecrets, json& document) {
  if (!withSecrets) {
    OmitPasswords(db, document);
  }
  for (const KmsServerInfo& server : AllKmsServers(db, withSecrets)) {
    document["kms"]["servers"].push_back(DumpServer(server, withSecrets));
  }
  Rows keys =
      db.Query("SELECT kmip_cluster_id, key_id FROM kms_key ORDER BY kmip_cluster_id, key_id");
  while (keys.Next()) {
    document["kms"]["keys"][keys.Text(0)].push_back(keys.Text(1));
  }
  Rows passwords = db.Query(
      "SELECT kek_id, kmip_cluster_id, password FROM kms_password ORDER BY kek_id, "
      "kmip_cluster_id");
  while (withSecrets && passwords.Next()) {
    document["kms"]["passwords"].push_back({{"kekId", passwords.Text(0)},
                                            {"kmipClusterId", passwords.Text(1)},
                                            {"password", passwords.Text(2)}});
  }
  Rows clients = db.Query("SELECT kmip_cluster_id, certificates, key FROM kms_client");
  while (clients.Next()) {
    json& client = document["kms"]["clientCertificates"][clients.Text(0)];
    client["certificate"] = clients.Text(1);
    if (!clients.Blob(2).empty()) {
      if (withSecrets) {
        client["key"] = clients.Text(2);
      } else {
        OmitSecret(document, "/kms/clientCertificates/" + EscapedKey(clients.Text(0)) + "/key");
      }
    }
  }
  for (const std::string& certificate : TrustedCertificates(db)) {
    document["kms"]["trustedCertificates"].push_back(certificate);
  }
  if (auto statuses = RecordedStatuses(db)) {
    document["kms"]["statuses"] = std::move(*statuses);
  }
  Rows answers = db.Query("SELECT text, good, error FROM cloud_kms");
  while (answers.Next()) {
    document["cloudKms"][answers.Text(0)] = {{"good", answers.Boolean(1)},
                                             {"error", answers.Text(2)}};
  }
}

}  // namespace

const Section kKmsSection = {kKeys, Load, Dump};

}  // namespace quelt
