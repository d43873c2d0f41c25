// The hardware SKU and the credential of the hardware management controller.
#include "embedded_host/operation/operation.h"
#include "embedded_host/store/settings.h"
#include "platform/config_store.h"

namespace ZelCtl::Quelt {

using quelt::Connection;
using quelt::FailureAnswer;
using quelt::FindSetting;
using quelt::Operation;
using quelt::PutSetting;
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
          FailureAnswer(false));
}

bool QueltConfigStore::GetIloAuth(std::pair<std::string, std::string>& credential) {
  return Operation("GetIloAuth")
      .Snapshot(
          [&](Connection& db) {
            return FindSetting(db, "iloFirst", credential.first) &&
                   FindSetting(db, "iloSecond", credential.second);
          },
          FailureAnswer(false));
}

bool QueltConfigStore::SetIloAuth(const std::string& first, const std::string& second) {
  return Operation("SetIloAuth", {{"first", first}, {"second", Secret(second)}})
      .Write(
          [&](Connection& db) {
            PutSetting(db, "iloFirst", first);
            PutSetting(db, "iloSecond", second);
            return true;
          },
          FailureAnswer(false));
}

}  // namespace ZelCtl::Quelt
