#include "embedded_host/scenario/scenario.h"

#include <algorithm>

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

bool IsKnown(const std::string& key) {
  return std::any_of(std::begin(kSections), std::end(kSections), [&](const Section* section) {
    return std::find(section->keys.begin(), section->keys.end(), key) != section->keys.end();
  });
}

void RefuseUnknownKeys(const Node& root) {
  for (const auto& [key, member] : root.Members()) {
    if (!IsKnown(key)) {
      member.Fail("no such key in a scenario");
    }
  }
}

}  // namespace

const json& DefaultScenario() {
  static const json* const scenario = new json(json::parse(kDefaultScenarioText));
  return *scenario;
}

void LoadScenario(Connection& db, const json& document) {
  const Node root(document, "");
  RefuseUnknownKeys(root);
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
