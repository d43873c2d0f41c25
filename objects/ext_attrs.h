// Extended attributes of storage objects, read through the object library.
//
// Runs with the GIL released and touches C++ values only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pyquelt {

/// The extended attributes of one object.
struct ObjectExtAttrs {
  std::int32_t objClass = 0;  ///< NORIM_EXTATTR_OBJTYPE_CLASS_*, or another value of the library
  std::string uuid;           ///< the caller's text, unchanged
  std::string objPath;        ///< empty when the descriptor has none
  std::string ufn;            ///< the friendly name; empty when the descriptor has none
};

/// Appends a record for each of `uuids`, in order, whose object is accessible from this host and
/// has extended parameters. Initialises the object library and closes it on every path. Throws
/// QueltCtlException when the library fails.
void ReadObjectExtAttrs(const std::vector<std::string>& uuids,
                        std::vector<ObjectExtAttrs>& records);

}  // namespace pyquelt
