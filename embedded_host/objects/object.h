// A storage object as the embedded host keeps it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "embedded_host/store/connection.h"
#include "embedded_host/text/uuid_text.h"

namespace quelt {

/// How an object's space is allocated, by the value in CreateObject. 0 stands for no valid way.
inline constexpr std::array<std::string_view, 5> kAllocTypes = {
    "INVALID", "THICK", "EAGER_ZEROED_THICK", "ZEROED_THICK", "THIN"};
inline constexpr std::int64_t kThin = 4;

/// Classes of objects, by their value in the extended attributes.
inline constexpr std::array<std::string_view, 10> kObjectClasses = {
    "VDISK",       "SNAPSHOT", "VMNAMESPACE",        "VMSWAP", "VMEM", "SIDECAR",
    "TOVIPERSIST", "COREDUMP", "DPCONSISTENCYGROUP", "HULFS"};
inline constexpr std::int64_t kVdisk = 0;
inline constexpr std::int64_t kConsistencyGroup = 8;

struct Object {
  UuidBytes uuid{};
  UuidBytes cid{};                          ///< zeros: none
  std::optional<std::string> friendlyName;  ///< no two objects have the same
  std::string path;
  std::string haMetaData;
  std::string policy;
  std::int64_t allocType = kThin;
  std::int64_t size = 0;           ///< bytes
  std::int64_t capabilities = -1;  ///< -1: unspecified
  std::int64_t objClass = kVdisk;
  std::optional<UuidBytes> group;  ///< an object of class DPCONSISTENCYGROUP
  bool hasExtAttrs = true;         ///< false: made without extended attributes
  bool accessible = true;
};

/// The path of an object that was not given one.
std::string DefaultPath(const UuidBytes& uuid);

/// The class of the object with this identifier, or nothing when there is no such object.
std::optional<std::int64_t> FindClass(Connection& db, const UuidBytes& uuid);
bool IsNameTaken(Connection& db, const std::string& friendlyName);

/// Adds the object; its name, its group and the room for it have been looked at.
void InsertObject(Connection& db, const Object& object);

}  // namespace quelt
