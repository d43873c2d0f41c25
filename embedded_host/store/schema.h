// The tables of the host's state, and the steps that bring an older file up to date.
#pragma once

#include <span>

#include "embedded_host/store/connection.h"

namespace quelt {

/// Stands in every state file ("Qult"), so that another program's database is told from ours.
inline constexpr std::uint32_t kApplicationId = 0x51756c74;

/// Step i brings a file from version i to i + 1; a new file has version 0.
using SchemaSteps = std::span<const char* const>;
SchemaSteps AllSteps();

/// Runs the missing steps, all or none of them. A file that is newer than the last step, or whose
/// tables, triggers and views are not exactly those of its version, is refused (QueltCtlException):
/// what another one has put there would run with our statements.
void UpgradeSchema(Connection& db, SchemaSteps steps = AllSteps());

/// Empties all tables. Inside a transaction.
void ClearTables(Connection& db);

}  // namespace quelt
