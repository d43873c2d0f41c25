#include "embedded_host/crypto/kms/recorded_status.h"

#include "embedded_host/store/settings.h"
#include "platform/exception.h"

namespace quelt {

using nlohmann::json;

namespace {

constexpr const char* kSetting = "kmsStatuses";

}  // namespace

void LoadRecordedStatuses(Connection& db, const Node& statuses) {
  json stored = json::object();
  for (const auto& [clusterId, keys] : statuses.Members()) {
    stored[clusterId] = json::object();
    for (const auto& [keyId, status] : keys.Members()) {
      status.AllowOnly({"good", "reason"});
      stored[clusterId][keyId] = {{"good", status.At("good").Boolean()},
                                  {"reason", status.TextOr("reason", "")}};
    }
  }
  PutSetting(db, kSetting, stored.dump());
}

std::optional<json> RecordedStatuses(Connection& db) {
  return FindSetting(db, kSetting) ? std::optional(FindJsonSetting(db, kSetting)) : std::nullopt;
}

std::optional<KmsStatus> FindRecordedStatus(Connection& db, const std::string& clusterId,
                                            const std::string& keyId) {
  const std::optional<json> statuses = RecordedStatuses(db);
  if (!statuses) {
    return std::nullopt;
  }
  try {
    const json& keys = statuses->value(clusterId, json::object());
    if (const auto status = keys.find(keyId); status != keys.end()) {
      return KmsStatus{status->at("good").get<bool>(), status->at("reason").get<std::string>()};
    }
  } catch (const json::exception&) {
    throw HostCtl::Lib::Quelt::QueltCtlException("The host's state holds a damaged KMS status");
  }
  return KmsStatus{false, "The scenario records no status of key \"" + keyId +
                              "\" in KMIP cluster \"" + clusterId + "\""};
}

}  // namespace quelt
