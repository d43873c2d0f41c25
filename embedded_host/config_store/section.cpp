// The scenario keys "hardwareSku", "ilo", "perfsvc" and "timeMachine".
#include "embedded_host/config_store/sections.h"
#include "embedded_host/store/settings.h"

namespace quelt {

using nlohmann::json;

namespace {

constexpr std::string_view kKeys[] = {"hardwareSku", "ilo", "perfsvc", "timeMachine"};

/// Scenario keys that contain a service's settings under the service's own keys.
constexpr const char* kServices[] = {"perfsvc", "timeMachine"};

void Load(Connection& db, const Node& root) {
  if (const auto sku = root.Find("hardwareSku")) {
    PutSetting(db, "hardwareSku", sku->Text());
  }
  if (const auto ilo = root.Find("ilo")) {
    ilo->AllowOnly({"first", "second"});
    PutSetting(db, "iloFirst", ilo->At("first").Text());
    PutSetting(db, "iloSecond", ilo->At("second").Text());
  }
  for (const char* service : kServices) {
    if (const auto settings = root.Find(service)) {
      for (const auto& [key, value] : settings->Members()) {
        db.Execute("INSERT INTO service_setting (service, key, value) VALUES (?, ?, ?)", service,
                   key, value.Text());
      }
    }
  }
}

void Dump(Connection& db, bool withSecrets, json& document) {
  if (const auto sku = FindSetting(db, "hardwareSku")) {
    document["hardwareSku"] = *sku;
  }
  const auto first = FindSetting(db, "iloFirst");
  const auto second = FindSetting(db, "iloSecond");
  if (first && second) {
    if (withSecrets) {
      document["ilo"] = {{"first", *first}, {"second", *second}};
    } else {
      OmitSecret(document, "/ilo");
    }
  }
  Rows rows = db.Query("SELECT service, key, value FROM service_setting");
  while (rows.Next()) {
    document[rows.Text(0)][rows.Text(1)] = rows.Text(2);
  }
}

}  // namespace

const Section kConfigStoreSection = {kKeys, Load, Dump};

}  // namespace quelt
