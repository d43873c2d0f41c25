// Loads a scenario from a file into the host's state.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "embedded_host/tool/progress.h"

namespace quelt {

/// A document and the name of its source.
// NOLINTNEXTLINE(bugprone-exception-escape): json's own destructor and move don't throw
struct ScenarioFile {
  std::string name;  ///< for messages
  nlohmann::json document;
};

/// Reads a file ("-": standard input). Throws ScenarioError: "<file>: line 3, column 13: <...>".
/// Shows progress, unless the input is a terminal.
ScenarioFile ReadScenarioFile(const std::string& file);

/// Replaces the host's state, including faults and the journal, with the scenario. If that is
/// invalid, changes nothing and throws ScenarioError: "<file>: <place>: expected <...>". Reports
/// secrets that the dump omitted on standard error. Frees the document's memory before it returns.
void LoadScenarioFile(ScenarioFile scenario, Progress& progress);

}  // namespace quelt
