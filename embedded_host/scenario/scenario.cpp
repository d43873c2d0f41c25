#include "embedded_host/scenario/scenario.h"

#include <algorithm>

#include "default_scenario.inc"

namespace quelt {

using nlohmann::json;

namespace {

const Section* const kSections[] = {
    &kConfigStoreSection,
};

void RefuseUnknownKeys(const Node& root) {
  for (const auto& [key, member] : root.Members()) {
    const bool known = std::any_of(std::begin(kSections), std::end(kSections), [&](const auto* s) {
      return std::find(s->keys.begin(), s->keys.end(), key) != s->keys.end();
    });
    if (!known) {
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
