// The creation and removal of the host's state file.
#pragma once

#include "embedded_host/store/environment.h"

namespace quelt {

/// Makes the state from the default scenario, with its folder, readable for its owner alone. The
/// file is complete from the moment at which it appears. Several processes may do this at once: one
/// of them makes it, the others find it made. Throws QueltCtlException.
void CreateState(const StorePlace& place);

/// Removes the state file; the next use creates a new one. Throws QueltCtlException.
void RemoveState(const StorePlace& place);

}  // namespace quelt
