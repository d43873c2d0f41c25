#include "embedded_host/objects/object.h"

#include "embedded_host/objects/space.h"

namespace quelt {

std::string DefaultPath(const UuidBytes& uuid) { return "/quelt/objects/" + UuidText(uuid); }

std::optional<std::int64_t> FindClass(Connection& db, const UuidBytes& uuid) {
  Rows rows = db.Query("SELECT class FROM object WHERE uuid = ?", Bytes(uuid));
  return rows.Next() ? std::optional(rows.Integer(0)) : std::nullopt;
}

bool IsNameTaken(Connection& db, const std::string& friendlyName) {
  return db.Query("SELECT 1 FROM object WHERE friendly_name = ?", friendlyName).Next();
}

void InsertObject(Connection& db, const Object& object) {
  db.Execute(
      "INSERT INTO object (uuid, cid, path, ha_metadata, policy, alloc_type, size, capabilities, "
      "class, ext_attrs, accessible, allocated) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
      Bytes(object.uuid), Bytes(object.cid), object.path, object.haMetaData, object.policy,
      object.allocType, object.size, object.capabilities, object.objClass, object.hasExtAttrs,
      object.accessible, AllocatedBytes(object.allocType, object.size));
  if (object.friendlyName) {
    db.Execute("UPDATE object SET friendly_name = ? WHERE uuid = ?", *object.friendlyName,
               Bytes(object.uuid));
  }
  if (object.group) {
    db.Execute("UPDATE object SET group_uuid = ? WHERE uuid = ?", Bytes(*object.group),
               Bytes(object.uuid));
  }
}

}  // namespace quelt
