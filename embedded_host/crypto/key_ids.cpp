// The KEK id and the host key id: two settings, "" until they are set.
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/store/settings.h"

namespace quelt {

std::string EmbeddedHostSystem::GetConfiguredKekId() {
  return Operation("GetConfiguredKekId").Read([](Connection& db) {
    return FindSetting(db, "kekId").value_or("");
  });
}

std::string EmbeddedHostSystem::GetConfiguredHostKeyId() {
  return Operation("GetConfiguredHostKeyId").Read([](Connection& db) {
    return FindSetting(db, "hostKeyId").value_or("");
  });
}

void EmbeddedHostSystem::PersistKekId(const std::string& kekId) {
  Operation("PersistKekId", {{"kekId", kekId}}).Write([&](Connection& db) {
    PutSetting(db, "kekId", kekId);
  });
}

void EmbeddedHostSystem::PersistHostKeyId(const std::string& hostKeyId) {
  Operation("PersistHostKeyId", {{"hostKeyId", hostKeyId}}).Write([&](Connection& db) {
    PutSetting(db, "hostKeyId", hostKeyId);
  });
}

}  // namespace quelt
