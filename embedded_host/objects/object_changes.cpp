// Creating and deleting objects. Both return a status.
//
// ObjUtil_Create:
//   kBadParameter   unknown allocation type or class; a group that is not a consistency group; a
//                   consistency group inside a group
//   kNotFound       unknown group
//   kAlreadyExists  the friendly name is in use
//   kLimitExceeded  not enough space
// ObjUtil_Delete:
//   kNotFound             unknown object, or an object with another cid than the given one
//   kNoHealthyComponent   the object is not accessible (unless forced)
//   kBusy                 a group that has members (unless forced; the members leave the group)
// Both: kIoError when the store fails.
#include <algorithm>
#include <exception>
#include <random>

#include "embedded_host/objects/object.h"
#include "embedded_host/objects/space.h"
#include "embedded_host/objects/statuses.h"
#include "embedded_host/operation/operation.h"
#include "platform/object_library.h"

namespace quelt {

namespace {

/// Runs `body` in a transaction; an exception of the store becomes kIoError. Called inside
/// Operation::Run: an exception that a fault injects is thrown before, and reaches the caller.
template <typename Body>
std::int32_t WriteForStatus(Body&& body) {
  try {
    return Store::Instance().Write(body);
  } catch (const std::exception&) {
    return kIoError;
  }
}

UuidBytes CopyUuid(const std::uint8_t* bytes) {
  UuidBytes uuid{};
  std::copy(bytes, bytes + uuid.size(), uuid.begin());
  return uuid;
}

/// All zero means "none".
bool IsGiven(const UuidBytes& uuid) { return uuid != UuidBytes{}; }

/// Null means "none".
std::string TextOrEmpty(const char* text) { return text == nullptr ? std::string() : text; }

/// A random UUID (RFC 4122, version 4).
UuidBytes NewUuid() {
  std::random_device random;
  std::uniform_int_distribution<unsigned> byte(0, 255);
  UuidBytes uuid{};
  std::generate(uuid.begin(), uuid.end(), [&] { return static_cast<std::uint8_t>(byte(random)); });
  uuid[6] = static_cast<std::uint8_t>((uuid[6] & 0x0F) | 0x40);
  uuid[8] = static_cast<std::uint8_t>((uuid[8] & 0x3F) | 0x80);
  return uuid;
}

KernelStatus CheckGroupOf(Connection& db, const Object& object) {
  if (!object.group) {
    return kOk;
  }
  const std::optional<std::int64_t> groupClass = FindClass(db, *object.group);
  if (!groupClass) {
    return kNotFound;
  }
  const bool fits = *groupClass == kConsistencyGroup && object.objClass != kConsistencyGroup;
  return fits ? kOk : kBadParameter;
}

/// Inserts `object` after setting its size, a new UUID and the path that belongs to it.
KernelStatus Create(Connection& db, Object& object, std::uint64_t size) {
  const auto last = [](const auto& names) { return static_cast<std::int64_t>(names.size()) - 1; };
  if (object.allocType < 1 || object.allocType > last(kAllocTypes) || object.objClass < 0 ||
      object.objClass > last(kObjectClasses)) {
    return kBadParameter;
  }
  if (const KernelStatus status = CheckGroupOf(db, object); status != kOk) {
    return status;
  }
  if (object.friendlyName && IsNameTaken(db, *object.friendlyName)) {
    return kAlreadyExists;
  }
  if (!HasSpaceFor(db, object.allocType, size)) {
    return kLimitExceeded;
  }
  object.size = static_cast<std::int64_t>(size);
  object.uuid = NewUuid();
  object.path = DefaultPath(object.uuid);
  InsertObject(db, object);
  return kOk;
}

bool HasMembers(Connection& db, const UuidBytes& group) {
  return db.Query("SELECT 1 FROM object WHERE group_uuid = ? LIMIT 1", Bytes(group)).Next();
}

KernelStatus Delete(Connection& db, const UuidBytes& cid, const UuidBytes& uuid, bool force) {
  bool accessible = false;
  {
    Rows rows = db.Query("SELECT cid, accessible FROM object WHERE uuid = ?", Bytes(uuid));
    if (!rows.Next()) {
      return kNotFound;
    }
    const Bytes storedCid = rows.Blob(0);
    if (IsGiven(cid) && !std::equal(cid.begin(), cid.end(), storedCid.begin(), storedCid.end())) {
      return kNotFound;
    }
    accessible = rows.Boolean(1);
  }
  if (!force && !accessible) {
    return kNoHealthyComponent;
  }
  if (!force && HasMembers(db, uuid)) {
    return kBusy;
  }
  db.Execute("DELETE FROM object WHERE uuid = ?", Bytes(uuid));
  return kOk;
}

}  // namespace
}  // namespace quelt

std::int32_t ObjUtil_Create(const std::uint8_t* cid, const char* ufn, const char* haMetaData,
                            const char* policy, std::int32_t allocType, std::uint64_t size,
                            std::int32_t capabilities, bool ignoreExtAttr,
                            const std::uint8_t* groupUuid, std::int32_t objClass,
                            std::uint8_t* uuid) {
  using namespace quelt;
  Object object;
  object.cid = CopyUuid(cid);
  object.haMetaData = TextOrEmpty(haMetaData);
  object.policy = TextOrEmpty(policy);
  object.allocType = allocType;
  object.capabilities = capabilities;
  object.objClass = objClass;
  object.hasExtAttrs = !ignoreExtAttr;
  if (const std::string name = TextOrEmpty(ufn); !name.empty()) {
    object.friendlyName = name;
  }
  if (const UuidBytes group = CopyUuid(groupUuid); IsGiven(group)) {
    object.group = group;
  }
  const std::int32_t status =
      Operation("ObjUtil_Create", {{"cid", UuidText(cid)},
                                   {"ufn", TextOrEmpty(ufn)},
                                   {"haMetaData", object.haMetaData},
                                   {"policy", object.policy},
                                   {"allocType", std::int64_t{allocType}},
                                   {"size", size},
                                   {"capabilities", std::int64_t{capabilities}},
                                   {"ignoreExtAttr", ignoreExtAttr},
                                   {"groupUuid", UuidText(groupUuid)},
                                   {"objClass", std::int64_t{objClass}}})
          .Run(
              [&]() -> std::int32_t {
                return WriteForStatus([&](Connection& db) { return Create(db, object, size); });
              },
              FailureAnswer<std::int32_t>(kFailure));
  if (status == kOk) {
    std::copy(object.uuid.begin(), object.uuid.end(), uuid);
  }
  return status;
}

std::int32_t ObjUtil_Delete(const std::uint8_t* cid, const std::uint8_t* uuid, bool force, void*,
                            void*) {
  using namespace quelt;
  return Operation("ObjUtil_Delete",
                   {{"cid", UuidText(cid)}, {"uuid", UuidText(uuid)}, {"force", force}})
      .Run(
          [&]() -> std::int32_t {
            return WriteForStatus(
                [&](Connection& db) { return Delete(db, CopyUuid(cid), CopyUuid(uuid), force); });
          },
          FailureAnswer<std::int32_t>(kFailure));
}
