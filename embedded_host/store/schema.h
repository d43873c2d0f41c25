// The tables of the host's state, and the steps that upgrade a file of an older version.
#pragma once

#include <span>

#include "embedded_host/store/connection.h"

namespace quelt {

/// The application id ("Qult") in the header of every state file: it distinguishes state files from
/// databases of other programs.
inline constexpr std::uint32_t kApplicationId = 0x51756c74;

/// Step i upgrades a file from version i to version i + 1; a new file has version 0.
using SchemaSteps = std::span<const char* const>;
SchemaSteps AllSteps();

/// Runs the missing steps in one transaction. Throws QueltCtlException when the file is newer than
/// the last step, or when its tables, triggers and views are not exactly those of its version: a
/// foreign trigger or view would run as part of our statements.
void UpgradeSchema(Connection& db, SchemaSteps steps = AllSteps());

/// Deletes all rows of all tables. Called inside a transaction.
void ClearTables(Connection& db);

}  // namespace quelt
