// Recorded results of the status check: a copy of another host reports them instead of contacting
// that host's key servers.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "embedded_host/document/node.h"
#include "embedded_host/store/connection.h"

namespace quelt {

/// Stores the results in `statuses`, an object of the KMIP clusters, each an object of its keys.
void LoadRecordedStatuses(Connection& db, const Node& statuses);

/// What LoadRecordedStatuses stored; std::nullopt if the host contacts its key servers.
std::optional<nlohmann::json> RecordedStatuses(Connection& db);

struct KmsStatus {
  bool good = false;
  std::string reason;
};

/// The recorded status; not good if none is recorded for this cluster and key. std::nullopt if the
/// host contacts its key servers.
std::optional<KmsStatus> FindRecordedStatus(Connection& db, const std::string& clusterId,
                                            const std::string& keyId);

}  // namespace quelt
