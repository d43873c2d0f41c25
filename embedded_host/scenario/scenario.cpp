#include "embedded_host/scenario/scenario.h"

#include <vector>

#include "default_scenario.inc"
#include "embedded_host/store/creation.h"

namespace quelt {

using nlohmann::json;

namespace {

const Section* const kSections[] = {
    &kConfigStoreSection, &kDiskGroupsSection, &kFeaturesSection,
    &kObjectsSection,     &kKmsSection,        &kKeysSection,
    &kDisksSection,  // wraps DEKs under the keys
    &kNetworkSection,     &kUnicastSection,
};

constexpr char kOmitted[] = "secretsOmitted";

/// "$schema" is for editors.
std::vector<std::string_view> AllKeys() {
  std::vector<std::string_view> keys = {"$schema", kOmitted};
  for (const Section* section : kSections) {
    keys.insert(keys.end(), section->keys.begin(), section->keys.end());
  }
  return keys;
}

bool Contains(const json& document, const Node& place) {
  try {
    if (const json::json_pointer pointer(place.Text()); !pointer.empty()) {
      return document.contains(pointer);
    }
  } catch (const json::exception&) {
    // not a pointer, or to an array's item beyond any size
  }
  place.Fail("a JSON pointer such as \"/keys\"");
}

[[gnu::constructor]] void SeedNewStates() {
  SetSeed([](Connection& db) { LoadScenario(db, DefaultScenario()); });
}

}  // namespace

void OmitSecret(json& document, std::string place) {
  document[kOmitted].push_back(std::move(place));
}

std::vector<std::string> MissingSecrets(const json& document) {
  std::vector<std::string> missing;
  if (const auto omitted = Node(document, "").Find(kOmitted)) {
    for (const Node& place : omitted->Items()) {
      if (!Contains(document, place)) {
        missing.push_back(place.Text());
      }
    }
  }
  return missing;
}

const json& DefaultScenario() {
  static const json* const scenario = new json(json::parse(kDefaultScenarioText));
  return *scenario;
}

void LoadScenario(Connection& db, const json& document) {
  const Node root(document, "");
  root.AllowOnly(AllKeys());
  MissingSecrets(document);  // checks the places
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
