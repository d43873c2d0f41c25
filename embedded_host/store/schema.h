// The tables of the host's state.
#pragma once

#include "embedded_host/store/connection.h"

namespace quelt {

/// Creates the tables in an empty database. False when they stood there already.
bool CreateTables(Connection& db);

/// Empties all tables. Inside a transaction.
void ClearTables(Connection& db);

}  // namespace quelt
