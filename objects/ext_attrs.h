// Extended attributes of storage objects, read through the object library.
//
// Runs with the interpreter lock released and touches C++ values only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pyquelt {

/// What is known of one object.
struct ObjectExtAttrs {
  std::int32_t objClass = 0;  ///< NORIM_EXTATTR_OBJTYPE_CLASS_*, or whatever the library reports
  std::string uuid;           ///< the caller's text, unchanged
  std::string objPath;        ///< empty when the descriptor has none
  std::string ufn;            ///< the friendly name; empty when the descriptor has none
};

/// Appends a record for each of `uuids`, in order, whose object exists, can be reached from this
/// host and has extended parameters. Opens the object library and closes it on every path. Throws
/// QueltCtlException when the library, or its work on an object, fails.
void ReadObjectExtAttrs(const std::vector<std::string>& uuids,
                        std::vector<ObjectExtAttrs>& records);

}  // namespace pyquelt
