// Scenario documents: one JSON object describes a whole host.
//
// The document's top-level keys are divided among sections, one for each subject; a section loads
// its keys into the store and dumps them from it.
#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "embedded_host/document/node.h"
#include "embedded_host/store/connection.h"

namespace quelt {

/// One subject's part of a scenario.
struct Section {
  /// The top-level keys that belong to it. A missing key means "none of it".
  std::span<const std::string_view> keys;
  /// Fills the section's tables, which are empty, from the document's root. Throws ScenarioError.
  void (*load)(Connection& db, const Node& root);
  /// Adds the section's keys to `document`. Without secrets, keys and passwords are left out, each
  /// place with OmitSecret.
  void (*dump)(Connection& db, bool withSecrets, nlohmann::json& document);
};

// sections/: one file each.
extern const Section kConfigStoreSection;
extern const Section kDiskGroupsSection;
extern const Section kDisksSection;
extern const Section kFeaturesSection;
extern const Section kKeysSection;
extern const Section kKmsSection;
extern const Section kObjectsSection;
extern const Section kNetworkSection;
extern const Section kUnicastSection;

/// The scenario of a fresh host.
const nlohmann::json& DefaultScenario();

/// Records in a dump that the secret at `place` (a JSON pointer, such as "/keys") was left out.
void OmitSecret(nlohmann::json& document, std::string place);

/// The places of the secrets that were left out when `document`, which was loaded, was dumped, and
/// that it still lacks.
std::vector<std::string> MissingSecrets(const nlohmann::json& document);

/// Fills the empty tables from `document`. Throws ScenarioError; the caller rolls back.
void LoadScenario(Connection& db, const nlohmann::json& document);

/// The state as a scenario document. Loading what was dumped with secrets gives the same state;
/// what was dumped without them says so (OmitSecret).
nlohmann::json DumpScenario(Connection& db, bool withSecrets);

}  // namespace quelt
