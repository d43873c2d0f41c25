// Settings of the performance service and the time machine.
#include "embedded_host/operation/operation.h"
#include "platform/config_store.h"

namespace HostCtl::Quelt::QueltInfo {

std::function<void()> syncConfigurationCallback;

}  // namespace HostCtl::Quelt::QueltInfo

namespace ZelCtl::Quelt {

using quelt::Connection;
using quelt::FailureAnswer;
using quelt::Operation;
using quelt::Rows;

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
          FailureAnswer(false));
}

bool QueltConfigStore::SetPerfsvcHostConfigStore(const std::string& first,
                                                 const std::string& second) {
  return Operation("SetPerfsvcHostConfigStore", {{"first", first}, {"second", second}})
      .Write(
          [&](Connection& db) {
            PutServiceSetting(db, "perfsvc", first, second);
            return true;
          },
          FailureAnswer(false));
}

bool QueltConfigStore::SetClusterTimeMachineConfigStore(const std::string& first,
                                                        const std::string& second) {
  return Operation("SetClusterTimeMachineConfigStore", {{"first", first}, {"second", second}})
      .Write(
          [&](Connection& db) {
            PutServiceSetting(db, "timeMachine", first, second);
            return true;
          },
          FailureAnswer(false));
}

}  // namespace ZelCtl::Quelt
