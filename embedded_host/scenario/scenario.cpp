#include "embedded_host/scenario/scenario.h"

#include <vector>

#include "default_scenario.inc"
#include "embedded_host/config_store/sections.h"
#include "embedded_host/crypto/kms/sections.h"
#include "embedded_host/crypto/sections.h"
#include "embedded_host/network/sections.h"
#include "embedded_host/objects/sections.h"
#include "embedded_host/store/creation.h"
#include "embedded_host/unicast/sections.h"

namespace quelt {

using nlohmann::json;

namespace {

const Section* const kSections[] = {
    &kConfigStoreSection, &kDiskGroupsSection, &kFeaturesSection,
    &kObjectsSection,     &kKmsSection,        &kKeysSection,
    &kDisksSection,  // after kKeysSection: wraps DEKs with its keys
    &kNetworkSection,     &kUnicastSection,
};

/// How a captured scenario was read; for its readers only.
constexpr char kCaptured[] = "captured";

/// Including "$schema", which editors use.
std::vector<std::string_view> AllKeys() {
  std::vector<std::string_view> keys = {"$schema", kSecretsOmitted, kCaptured};
  for (const Section* section : kSections) {
    keys.insert(keys.end(), section->keys.begin(), section->keys.end());
  }
  return keys;
}

[[gnu::constructor]] void SeedNewStates() {
  SetSeed([](Connection& db) { LoadScenario(db, DefaultScenario()); });
}

}  // namespace

const json& DefaultScenario() {
  static const json* const scenario = new json(json::parse(kDefaultScenarioText));
  return *scenario;
}

void LoadScenario(Connection& db, const json& document) {
  const Node root(document, "");
  root.AllowOnly(AllKeys());
  MissingSecrets(document);  // throws for an invalid entry
  if (const auto captured = root.Find(kCaptured)) {
    captured->Members();  // throws unless it is an object
  }
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
