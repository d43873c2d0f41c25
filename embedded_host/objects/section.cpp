// The scenario keys "capacity" and "objects".
#include <algorithm>

#include "embedded_host/objects/object.h"
#include "embedded_host/objects/sections.h"
#include "embedded_host/objects/space.h"
#include "embedded_host/text/hexadecimal.h"

namespace quelt {

using nlohmann::json;

namespace {

constexpr std::string_view kKeys[] = {"capacity", "objects"};

/// 2^60, so that sums of such figures do not overflow 64 bits.
constexpr std::int64_t kMaxBytes = std::int64_t{1} << 60;

void LoadCapacity(Connection& db, const std::optional<Node>& capacity) {
  Space space;
  if (capacity) {
    capacity->AllowOnly({"physical", "dedupMetadata", "transient", "physicalTransient", "logical",
                         "physicalUsed", "logicalUsed", "fsOverhead", "blockAttributes"});
    space.physicalCapacity = capacity->At("physical").Integer(0, kMaxBytes);
    space.dedupMetadata = capacity->IntegerOr("dedupMetadata", 0, 0, space.physicalCapacity);
    space.transient = capacity->IntegerOr("transient", 0, 0, kMaxBytes);
    space.physicalTransient = capacity->IntegerOr("physicalTransient", 0, 0, kMaxBytes);
  }
  db.Execute(
      "INSERT INTO space (physical_capacity, dedup_metadata, transient, physical_transient) VALUES "
      "(?, ?, ?, ?)",
      space.physicalCapacity, space.dedupMetadata, space.transient, space.physicalTransient);
}

/// Stores the figures that the scenario states. Returns false if it states none.
bool LoadStatedFigures(Connection& db, const std::optional<Node>& capacity) {
  const Space space = ReadSpace(db);
  SpaceOffsets offsets;
  bool any = false;
  for (const StatedFigure& stated : kStatedFigures) {
    if (capacity && capacity->Find(stated.key)) {
      offsets.*stated.offset =
          capacity->At(stated.key).Integer(0, kMaxBytes) - (space.*stated.figure)();
      any = true;
    }
  }
  StoreSpaceOffsets(db, offsets);
  return any;
}

/// The index in `names` of the name at `key`.
template <std::size_t Size>
std::int64_t ReadIndex(const Node& object, const char* key,
                       const std::array<std::string_view, Size>& names, std::int64_t missing) {
  const std::optional<Node> name = object.Find(key);
  if (!name) {
    return missing;
  }
  const auto found = std::find(names.begin(), names.end(), name->Text());
  if (found == names.end()) {
    std::string known;
    for (const std::string_view other : names) {
      known += (known.empty() ? "" : ", ") + std::string(other);
    }
    name->Fail("one of " + known);
  }
  return found - names.begin();
}

UuidBytes ReadUuidText(const Node& node) {
  const std::optional<UuidBytes> uuid = ReadUuid(node.Text());
  if (!uuid) {
    node.Fail("a UUID: 8-4-4-4-12 hexadecimal digits");
  }
  return *uuid;
}

UuidBytes ReadCid(const Node& node) {
  const std::vector<std::uint8_t> bytes = node.Hex(UuidBytes().size());
  UuidBytes cid{};
  std::copy(bytes.begin(), bytes.end(), cid.begin());
  return cid;
}

Object ReadObject(const Node& node) {
  node.AllowOnly({"uuid", "cid", "friendlyName", "path", "haMetaData", "policy", "allocType",
                  "size", "capabilities", "class", "group", "extAttrs", "accessible"});
  Object object;
  object.uuid = ReadUuidText(node.At("uuid"));
  if (const auto cid = node.Find("cid")) {
    object.cid = ReadCid(*cid);
  }
  if (const auto name = node.Find("friendlyName")) {
    object.friendlyName = name->Text();
  }
  object.path = node.TextOr("path", DefaultPath(object.uuid));
  object.haMetaData = node.TextOr("haMetaData", "");
  object.policy = node.TextOr("policy", "");
  object.allocType = ReadIndex(node, "allocType", kAllocTypes, object.allocType);
  object.size = node.IntegerOr("size", 0, 0, kMaxBytes);
  object.capabilities =
      node.IntegerOr("capabilities", object.capabilities, std::numeric_limits<std::int32_t>::min(),
                     std::numeric_limits<std::int32_t>::max());
  object.objClass = ReadIndex(node, "class", kObjectClasses, object.objClass);
  if (const auto group = node.Find("group")) {
    object.group = ReadUuidText(*group);
  }
  object.hasExtAttrs = node.BooleanOr("extAttrs", true);
  object.accessible = node.BooleanOr("accessible", true);
  return object;
}

void LoadObject(Connection& db, const Node& node, const Object& object) {
  if (object.allocType == 0) {
    node.At("allocType").Fail("an allocation type other than INVALID");
  }
  if (FindClass(db, object.uuid)) {
    node.At("uuid").Fail("a UUID that no other object has");
  }
  if (object.friendlyName &&
      (object.friendlyName->empty() || IsNameTaken(db, *object.friendlyName))) {
    node.At("friendlyName").Fail("a name that no other object has, not empty");
  }
  if (object.group &&
      (object.objClass == kConsistencyGroup || FindClass(db, *object.group) != kConsistencyGroup)) {
    node.At("group").Fail(
        "the UUID of an object of class DPCONSISTENCYGROUP; such an object has no group itself");
  }
  InsertObject(db, object);
}

// Consistency groups are inserted first: the document may list their members before them.
void LoadObjects(Connection& db, const Node& objects) {
  std::vector<std::pair<Node, Object>> members;
  for (const Node& node : objects.Items()) {
    Object object = ReadObject(node);
    if (object.objClass == kConsistencyGroup) {
      LoadObject(db, node, object);
    } else {
      members.emplace_back(node, std::move(object));
    }
  }
  for (const auto& [node, object] : members) {
    LoadObject(db, node, object);
  }
}

void Load(Connection& db, const Node& root) {
  const std::optional<Node> capacity = root.Find("capacity");
  const std::optional<Node> objects = root.Find("objects");
  LoadCapacity(db, capacity);
  if (objects) {
    LoadObjects(db, *objects);
  }
  if (!LoadStatedFigures(db, capacity) && objects && !ReadSpace(db).Fits()) {
    objects->Fail("objects that fit into \"capacity\"");
  }
}

void DumpCapacity(Connection& db, json& document) {
  const Space space = ReadSpace(db);
  document["capacity"] = {{"physical", space.physicalCapacity},
                          {"dedupMetadata", space.dedupMetadata},
                          {"transient", space.transient},
                          {"physicalTransient", space.physicalTransient}};
  for (const StatedFigure& stated : kStatedFigures) {
    if (space.offsets.*stated.offset != 0) {
      document["capacity"][stated.key] = (space.*stated.figure)();
    }
  }
}

std::string UuidAt(const Rows& rows, int column) {
  UuidBytes uuid{};
  rows.Copy(column, uuid);
  return UuidText(uuid);
}

json DumpObject(const Rows& rows) {
  json object = {{"uuid", UuidAt(rows, 0)},
                 {"path", rows.Text(3)},
                 {"haMetaData", rows.Text(4)},
                 {"policy", rows.Text(5)},
                 {"allocType", kAllocTypes[rows.Index(6, kAllocTypes.size())]},
                 {"size", rows.Integer(7)},
                 {"capabilities", rows.Integer(8)},
                 {"class", kObjectClasses[rows.Index(9, kObjectClasses.size())]},
                 {"extAttrs", rows.Boolean(11)},
                 {"accessible", rows.Boolean(12)}};
  const Bytes cid = rows.Blob(1);
  object["cid"] = HexText(cid.data(), cid.size());
  if (!rows.IsNull(2)) {
    object["friendlyName"] = rows.Text(2);
  }
  if (!rows.IsNull(10)) {
    object["group"] = UuidAt(rows, 10);
  }
  return object;
}

void Dump(Connection& db, bool, json& document) {
  DumpCapacity(db, document);
  Rows rows = db.Query(
      "SELECT uuid, cid, friendly_name, path, ha_metadata, policy, alloc_type, size, capabilities, "
      "class, group_uuid, ext_attrs, accessible FROM object ORDER BY uuid");
  while (rows.Next()) {
    document["objects"].push_back(DumpObject(rows));
  }
}

}  // namespace

const Section kObjectsSection = {kKeys, Load, Dump};

}  // namespace quelt
