// Scenario documents: one JSON object describes a whole host.
//
// Its top-level keys are divided among the subjects' sections (document/section.h).
#pragma once

#include <nlohmann/json.hpp>

#include "embedded_host/store/connection.h"

namespace quelt {

/// The scenario of a fresh host.
const nlohmann::json& DefaultScenario();

/// Fills the empty tables from `document`. Throws ScenarioError; the caller rolls back.
void LoadScenario(Connection& db, const nlohmann::json& document);

/// The state as a scenario document. Loading what was dumped with secrets gives the same state;
/// what was dumped without them says so (OmitSecret).
nlohmann::json DumpScenario(Connection& db, bool withSecrets);

}  // namespace quelt
