// The file that holds the host's state.
#pragma once

#include <chrono>
#include <memory>

#include "embedded_host/store/connection.h"

namespace quelt {

/// Opens a connection to the host's state; creates a state that does not exist (see creation.h).
/// Throws QueltCtlException, without changing the file, when it is not a state file, or one of a
/// newer version. `place` outlives the connection.
std::unique_ptr<Connection> OpenState(const StorePlace& place);

/// The longest time for which reads may use a state file that was removed or replaced.
inline constexpr std::chrono::milliseconds kFileCheckInterval{50};

/// Whether the file at the state's path is still the one that this connection has open. Checked
/// before every write, and before a read when the last check is older than kFileCheckInterval;
/// between checks the answer is true. Checks the control file as well
/// (ControlWord::DropIfReplaced).
bool IsSameFile(Connection& connection, bool writing);

/// Truncates the write-ahead log, which may still hold content deleted from the state. Called
/// outside of transactions. Has no effect while another process uses the log.
void EmptyLog(Connection& connection);

}  // namespace quelt
