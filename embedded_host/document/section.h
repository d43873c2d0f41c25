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

/// How a subject loads its top-level keys into the store and dumps them from it.
struct Section {
  /// The top-level keys of the section. All are optional; a missing one means "no data".
  std::span<const std::string_view> keys;
  /// Fills the section's empty tables from the document's root. Throws ScenarioError.
  void (*load)(Connection& db, const Node& root);
  /// Adds the section's keys to `document`. Without secrets, leaves out keys and passwords and
  /// calls OmitSecret for each.
  void (*dump)(Connection& db, bool withSecrets, nlohmann::json& document);
};

/// The top-level key whose array lists the secrets that a dump leaves out.
inline constexpr char kSecretsOmitted[] = "secretsOmitted";

/// Records in a dump that the secret at `pointer` (a JSON pointer such as "/keys") is left out.
void OmitSecret(nlohmann::json& document, std::string pointer);

/// The JSON pointers to the secrets that the dump `document` left out and that have not been added
/// since. Throws ScenarioError for an entry that is not a JSON pointer.
std::vector<std::string> MissingSecrets(const nlohmann::json& document);

}  // namespace quelt
