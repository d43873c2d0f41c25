// The subcommands of quelt-host, one file for each group of them.
//
// An Add function puts its subcommands into the application; what a subcommand does stands in its
// callback. A callback prints to std::cout and reports failure by throwing: main prints the text as
// one line on standard error and ends with status 1.
#pragma once

#include <CLI/CLI.hpp>

namespace quelt {

/// init, reset
void AddStateCommands(CLI::App& app);
/// load, dump
void AddScenarioCommands(CLI::App& app);
/// fail, heal, faults
void AddFaultCommands(CLI::App& app);

}  // namespace quelt
