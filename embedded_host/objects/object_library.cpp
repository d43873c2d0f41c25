// The object library: an object's extended attributes, and whether it is accessible.
//
// An object's path is the prefix followed by its UUID, in upper or lower case; text after the UUID
// is ignored. ObjLib functions work between ObjLib_Init and ObjLib_Exit.
#include "platform/object_library.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <string_view>

#include "embedded_host/objects/object.h"
#include "embedded_host/objects/statuses.h"
#include "embedded_host/operation/operation.h"
#include "platform/quelt_util.h"

/// The texts that DDBGet returns, read together with an object's parameters.
struct ObjDescriptor {
  std::optional<std::string> friendlyName;
  std::string path;
};

namespace quelt {

namespace {

/// The selector of ObjLib_GetURIPrefix for the prefix of object paths.
constexpr int kObjectPaths = 3;
constexpr std::string_view kObjectPathPrefix = "quelt://object/";

/// Number of open sessions in all threads.
std::atomic<int> openSessions = 0;

void EndSession() {
  // ObjLib_Exit without ObjLib_Init has no effect.
  int open = openSessions.load();
  while (open > 0 && !openSessions.compare_exchange_weak(open, open - 1)) {
  }
}

struct ExtParams : ObjLibExtParams {
  ObjDescriptor ownedDescriptor;
};

/// The parameters of the object at `path`; null when the object has none or does not exist.
std::unique_ptr<ExtParams> ReadExtParams(Connection& db, std::string_view path) {
  if (!path.starts_with(kObjectPathPrefix)) {
    return nullptr;
  }
  const std::optional<UuidBytes> uuid =
      ScanUuid(std::string(path.substr(kObjectPathPrefix.size())).c_str());
  if (!uuid) {
    return nullptr;
  }
  Rows rows = db.Query("SELECT class, path, friendly_name FROM object WHERE uuid = ? AND ext_attrs",
                       Bytes(*uuid));
  if (!rows.Next()) {
    return nullptr;
  }
  auto params = std::make_unique<ExtParams>();
  params->objClass = static_cast<std::int32_t>(rows.Integer(0));
  params->descriptor = &params->ownedDescriptor;
  params->ownedDescriptor.path = rows.Text(1);
  if (!rows.IsNull(2)) {
    params->ownedDescriptor.friendlyName = rows.Text(2);
  }
  return params;
}

/// The descriptor's value for `key`; null when there is none.
const char* FindValue(const ObjDescriptor& descriptor, std::string_view key) {
  if (key == "quelt.FriendlyName" && descriptor.friendlyName) {
    return descriptor.friendlyName->c_str();
  }
  return key == "quelt.objPath" ? descriptor.path.c_str() : nullptr;
}

}  // namespace
}  // namespace quelt

using quelt::Connection;
using quelt::FailureAnswer;
using quelt::Operation;

bool ObjLib_Init() {
  return Operation("ObjLib_Init")
      .Run(
          [] {
            ++quelt::openSessions;
            return true;
          },
          FailureAnswer(false));
}

void ObjLib_Exit() noexcept { quelt::EndSession(); }

char* ObjLib_GetURIPrefix(int selector) {
  return Operation("ObjLib_GetURIPrefix", {{"selector", std::int64_t{selector}}})
      .Run(
          [&]() -> char* {
            const bool known = quelt::openSessions > 0 && selector == quelt::kObjectPaths;
            return known ? strdup(quelt::kObjectPathPrefix.data()) : nullptr;
          },
          FailureAnswer<char*>(nullptr));
}

int ObjLib_GetExtParams(const char* path, int flags, ObjLibExtParams** params) {
  return Operation("ObjLib_GetExtParams", {{"path", path}, {"flags", std::int64_t{flags}}})
      .Read(
          [&](Connection& db) -> int {
            if (quelt::openSessions == 0) {
              return quelt::kNotInitialized;
            }
            std::unique_ptr<quelt::ExtParams> read = quelt::ReadExtParams(db, path);
            if (read == nullptr) {
              return quelt::kNotFound;
            }
            *params = read.release();
            return quelt::kOk;
          },
          FailureAnswer<int>(quelt::kFailure));
}

void ObjLib_FreeExtParams(ObjLibExtParams** params) noexcept {
  delete static_cast<quelt::ExtParams*>(*params);
  *params = nullptr;
}

char* DDBGet(ObjDescriptor* descriptor, const char* key) {
  return Operation("DDBGet", {{"key", key}})
      .Run(
          [&]() -> char* {
            const char* const value = quelt::FindValue(*descriptor, key);
            return value == nullptr ? nullptr : strdup(value);
          },
          FailureAnswer<char*>(nullptr));
}

namespace ZelCtl::Quelt {

int QueltUtil::IsObjectAccessible(QUELTUUID cluster, QUELTUUID uuid, char* accessible) {
  return Operation("IsObjectAccessible", {{"cluster", quelt::UuidText(cluster.bytes)},
                                          {"uuid", quelt::UuidText(uuid.bytes)}})
      .Read(
          [&](Connection& db) -> int {
            quelt::Rows rows =
                db.Query("SELECT accessible FROM object WHERE uuid = ?", quelt::Bytes(uuid.bytes));
            if (!rows.Next()) {
              return quelt::kNotFound;
            }
            *accessible = rows.Boolean(0) ? 1 : 0;
            return quelt::kOk;
          },
          FailureAnswer<int>(quelt::kFailure));
}

}  // namespace ZelCtl::Quelt
