// The configuration-store settings of the embedded host.
#include "embedded_host/operation/operation.h"
#include "embedded_host/store/settings.h"
#include "platform/config_store.h"

namespace HostCtl::Quelt::QueltInfo {

std::function<void()> syncConfigurationCallback;

}  // namespace HostCtl::Quelt::QueltInfo

namespace ZelCtl::Quelt {

using quelt::Connection;
using quelt::FindSetting;
using quelt::Operation;
using quelt::PutSetting;
using quelt::Refused;
using quelt::Rows;
using quelt::Secret;

bool QueltConfigStore::GetHardwareSku(std::string& sku) {
  return Operation("GetHardwareSku")
      .Read(
          [&](Connection& db) {
            std::optional<std::string> value = FindSetting(db, "hardwareSku");
            if (!value) {
              return false;
            }
            sku = std::move(*value);
            return true;
          },
          Refused(false));
}

bool QueltConfigStore::GetIloAuth(std::pair<std::string, std::string>& credential) {
  return Operation("GetIloAuth")
      .Snapshot(
          [&](Connection& db) {
            return FindSetting(db, "iloFirst", credential.first) &&
                   FindSetting(db, "iloSecond", credential.second);
          },
          Refused(false));
}

bool QueltConfigStore::SetIloAuth(const std::string& first, const std::string& second) {
  return Operation("SetIloAuth", {{"first", first}, {"second", Secret(second)}})
      .Write(
          [&](Connection& db) {
            PutSetting(db, "iloFirst", first);
            PutSetting(db, "iloSecond", second);
            return true;
          },
          Refused(false));
}

namespace {

void PutServiceSetting(Connection& db, const char* service, const std::string& key,
                       const std::string& value) {
  db.Execute("INSERT OR REPLACE INTO service_setting (service, key, value) VALUES (?, ?, ?)",
             service, key, value);
}

}  // namespace

bool QueltConfigStore::GetPerfsvcHostConfigStore(
    std::unordered_map<std::string, std::string>& config) {
  return Operation("GetPerfsvcHostConfigStore")
      .Read(
          [&](Connection& db) {
            Rows rows =
                db.Query("SELECT key, value FROM service_setting WHERE service = ?", "perfsvc");
            while (rows.Next()) {
              config.insert_or_assign(rows.Text(0), rows.Text(1));
            }
            return true;
          },
          Refused(false));
}

bool QueltConfigStore::SetPerfsvcHostConfigStore(const std::string& first,
                                                 const std::string& second) {
  return Operation("SetPerfsvcHostConfigStore", {{"first", first}, {"second", second}})
      .Write(
          [&](Connection& db) {
            PutServiceSetting(db, "perfsvc", first, second);
            return true;
          },
          Refused(false));
}

bool QueltConfigStore::SetClusterTimeMachineConfigStore(const std::string& first,
                                                        const std::string& second) {
  return Operation("SetClusterTimeMachineConfigStore", {{"first", first}, {"second", second}})
      .Write(
          [&](Connection& db) {
            PutServiceSetting(db, "timeMachine", first, second);
            return true;
          },
          Refused(false));
}

}  // namespace ZelCtl::Quelt
