// Who gets at the host's state. The files are their owner's alone; a folder in which others could
// replace them, and a link in place of one, are refused.
#pragma once

#include <string>

namespace quelt {

/// Looks at the state's folder, at the state and at what SQLite and the control word keep beside
/// it. False when there is no state yet. Files that others may read or write, as after a copy, are
/// made their owner's alone. Throws QueltCtlException for anything that is not the user's own.
bool SecureState(const std::string& path);

}  // namespace quelt
