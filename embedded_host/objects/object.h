// A storage object and its table.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "embedded_host/store/connection.h"
#include "embedded_host/text/uuid_text.h"

namespace quelt {

/// Names of the allocation types, by their value in CreateObject. 0 is not a valid type.
inline constexpr std::array<std::string_view, 5> kAllocTypes = {
    "INVALID", "THICK", "EAGER_ZEROED_THICK", "ZEROED_THICK", "THIN"};
inline constexpr std::int64_t kThin = 4;

/// Names of the object classes, by their value in the extended attributes.
inline constexpr std::array<std::string_view, 10> kObjectClasses = {
    "VDISK",       "SNAPSHOT", "VMNAMESPACE",        "VMSWAP", "VMEM", "SIDECAR",
    "TOVIPERSIST", "COREDUMP", "DPCONSISTENCYGROUP", "HULFS"};
inline constexpr std::int64_t kVdisk = 0;
inline constexpr std::int64_t kConsistencyGroup = 8;

struct Object {
  UuidBytes uuid{};
  UuidBytes cid{};                          ///< all zero: none
  std::optional<std::string> friendlyName;  ///< unique
  std::string path;
  std::string haMetaData;
  std::string policy;
  std::int64_t allocType = kThin;
  std::int64_t size = 0;           ///< bytes
  std::int64_t capabilities = -1;  ///< -1: unspecified
  std::int64_t objClass = kVdisk;
  std::optional<UuidBytes> group;  ///< UUID of an object of class DPCONSISTENCYGROUP
  bool hasExtAttrs = true;         ///< false: created without extended attributes
  bool accessible = true;
};

/// The path of an object that was created without one.
std::string DefaultPath(const UuidBytes& uuid);

/// The class of the object with this UUID; nothing when there is no such object.
std::optional<std::int64_t> FindClass(Connection& db, const UuidBytes& uuid);
bool IsNameTaken(Connection& db, const std::string& friendlyName);

/// Inserts an object. The caller has checked its name, its group and the free space.
void InsertObject(Connection& db, const Object& object);

}  // namespace quelt
