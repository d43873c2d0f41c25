// The tool's subcommands and options as plain values, from which the shell completions and the
// manual page are generated.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace quelt {

struct OptionDescription {
  std::vector<std::string> names;  ///< "--json"; for a positional argument "OPERATION"
  bool positional = false;
  bool repeated = false;
  bool required = false;
  std::string value;  ///< the placeholder of the value ("FILE"), empty for a flag
  std::string text;
};

struct CommandDescription {
  std::vector<std::string> words;  ///< "journal", "show"; empty for the tool itself
  std::string text;
  std::string footer;
  std::vector<OptionDescription> options;
  std::vector<CommandDescription> commands;
};

CommandDescription Describe(const CLI::App& app);

}  // namespace quelt
