// A section: one subject's part of a scenario document.
#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "embedded_host/document/node.h"
#include "embedded_host/store/connection.h"

namespace quelt {

/// Loads its top-level keys into the store and dumps them from it.
struct Section {
  /// The top-level keys that belong to it. A missing key means "none of it".
  std::span<const std::string_view> keys;
  /// Fills the section's tables, which are empty, from the document's root. Throws ScenarioError.
  void (*load)(Connection& db, const Node& root);
  /// Adds the section's keys to `document`. Without secrets, it leaves keys and passwords out and
  /// records each place with OmitSecret.
  void (*dump)(Connection& db, bool withSecrets, nlohmann::json& document);
};

/// The top-level key under which OmitSecret records places.
inline constexpr char kSecretsOmitted[] = "secretsOmitted";

/// Records in a dump that the secret at `place` (a JSON pointer, such as "/keys") was left out.
void OmitSecret(nlohmann::json& document, std::string place);

/// The places of the secrets that were left out when `document` was dumped, and that it still
/// lacks. Throws ScenarioError for a place that is not a JSON pointer.
std::vector<std::string> MissingSecrets(const nlohmann::json& document);

}  // namespace quelt
