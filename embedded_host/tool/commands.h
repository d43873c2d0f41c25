// The subcommands of quelt-host, one file for each group of them.
//
// An Add function puts its subcommands into the application; what a subcommand does stands in its
// callback. A callback prints to std::cout and reports failure by throwing: main prints the text as
// one line on standard error and ends with status 1.
#pragma once

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace quelt {

/// A failure that ends the tool with another exit status than 1.
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
/// run; `command` is what main takes from the words, and outlives the application
void AddRunCommand(CLI::App& app, const std::vector<std::string>& command);
/// completion, manual: made from the application, which has all other subcommands by then
void AddDocumentationCommands(CLI::App& app);

}  // namespace quelt
