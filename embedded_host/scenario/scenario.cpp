#include "embedded_host/scenario/scenario.h"

#include <vector>

#include "default_scenario.inc"

namespace quelt {

using nlohmann::json;

namespace {

const Section* const kSections[] = {
    &kConfigStoreSection, &kDiskGroupsSection, &kFeaturesSection,
    &kObjectsSection,     &kKmsSection,        &kKeysSection,
    &kDisksSection,  // wraps DEKs under the keys
    &kNetworkSection,     &kUnicastSection,
};

/// "$schema" is for editors.
std::vector<std::string_view> AllKeys() {
  std::vector<std::string_view> keys = {"$schema"};
  for (const Section* section : kSections) {
    keys.insert(keys.end(), section->keys.begin(), section->keys.end());
  }
  return keys;
}

}  // namespace

const json& DefaultScenario() {
  static const json* const scenario = new json(json::parse(kDefaultScenarioText));
  return *scenario;
}

void LoadScenario(Connection& db, const json& document) {
  const Node root(document, "");
  root.AllowOnly(AllKeys());
  for (const Section* section : kSections) {
    section->load(db, root);
  }
}

json DumpScenario(Connection& db, bool withSecrets) {
  json document = json::object();
  for (const Section* section : kSections) {
    section->dump(db, withSecrets, document);
  }
  return document;
}

}  // namespace quelt
