// The tables of the host's state.
#pragma once

#include "embedded_host/store/connection.h"

namespace quelt {

/// Creates the tables in an empty database. False when they stood there already.
bool CreateTables(Connection& db);

}  // namespace quelt
