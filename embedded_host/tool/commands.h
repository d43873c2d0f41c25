// The subcommands of quelt-host, with one source file per group.
//
// Each function registers its subcommands with callbacks that do the work. A callback prints to
// std::cout and throws for a failure: main prints the text as one line on standard error and exits
// with status 1.
#pragma once

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace quelt {

/// A failure with an exit status other than 1.
class StatusFailure : public std::runtime_error {
 public:
  StatusFailure(int status, const std::string& text) : std::runtime_error(text), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

/// init, reset
void AddStateCommands(CLI::App& app);
/// load, dump
void AddScenarioCommands(CLI::App& app);
/// show
void AddShowCommand(CLI::App& app);
/// fail, heal, faults
void AddFaultCommands(CLI::App& app);
/// journal
void AddJournalCommands(CLI::App& app);
/// run; main stores the command to run in `command`, which outlives the application
void AddRunCommand(CLI::App& app, const std::vector<std::string>& command);
/// rehearse; `command` as for run
void AddRehearseCommand(CLI::App& app, const std::vector<std::string>& command);
/// completion, manual; called last, because they describe all other subcommands
void AddDocumentationCommands(CLI::App& app);

}  // namespace quelt
