// Scenario documents: a JSON object that describes a whole host.
//
// Each top-level key belongs to one subject's section (document/section.h).
#pragma once

#include <nlohmann/json.hpp>

#include "embedded_host/store/connection.h"

namespace quelt {

/// The scenario of a new host.
const nlohmann::json& DefaultScenario();

/// Fills the empty tables from `document`. Throws ScenarioError; the caller then rolls back.
void LoadScenario(Connection& db, const nlohmann::json& document);

/// Dumps the state as a scenario document. Loading a dump with secrets restores the same state; a
/// dump without secrets lists them (OmitSecret).
nlohmann::json DumpScenario(Connection& db, bool withSecrets);

}  // namespace quelt
