// Access control of the state files. Only their owner may read or write them. A folder in which
// another user could replace them, and a symbolic link in place of a file, are rejected.
#pragma once

#include <string>

namespace quelt {

/// Checks the state's folder, the state file, SQLite's files beside it and the control file.
/// Restricts the files to their owner where others have access, for example after a copy. Returns
/// whether the state file exists. Throws QueltCtlException for an untrusted folder or file.
bool SecureState(const std::string& path);

}  // namespace quelt
