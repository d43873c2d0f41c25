// The scenario key "features": which optional features of the cluster are on.
#include "embedded_host/unicast/sections.h"

namespace quelt {

namespace {

constexpr std::string_view kKeys[] = {"features"};

/// Names in the scenario and in the table `switch`.
constexpr const char* kFeatures[] = {"csd", "metadataNode"};

void Load(Connection& db, const Node& root) {
  const auto features = root.Find("features");
  if (!features) {
    return;
  }
  features->AllowOnly({"csd", "metadataNode"});
  for (const char* name : kFeatures) {
    db.Execute("INSERT INTO switch (name, is_on) VALUES (?, ?)", name,
               features->BooleanOr(name, false));
  }
}

void Dump(Connection& db, bool, nlohmann::json& document) {
  Rows rows = db.Query("SELECT name, is_on FROM switch WHERE name IN ('csd', 'metadataNode')");
  while (rows.Next()) {
    document["features"][rows.Text(0)] = rows.Boolean(1);
  }
}

}  // namespace

const Section kFeaturesSection = {kKeys, Load, Dump};

}  // namespace quelt
