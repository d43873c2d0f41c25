// The file that holds the host's state.
#pragma once

#include <memory>

#include "embedded_host/store/connection.h"

namespace quelt {

/// A connection to the host's state, ready for use; a state that does not exist yet is created
/// (see creation.h). What is not a state of ours, or not one that we understand, is refused and
/// left as it is. Throws QueltCtlException. `place` outlives the connection.
std::unique_ptr<Connection> OpenState(const StorePlace& place);

/// False when the file that this connection has open was removed or replaced at its path. Looked at
/// now and then when reading, always before writing, and the control file with it.
bool IsSameFile(Connection& connection, bool writing);

/// Empties the log, where what was deleted from the state could still be read. Outside any
/// transaction; where another process is in the way, that is left to a later time.
void EmptyLog(Connection& connection);

}  // namespace quelt
