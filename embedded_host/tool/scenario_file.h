// A scenario from a file into the host's state.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "embedded_host/tool/progress.h"

namespace quelt {

/// A document and where it came from.
// NOLINTNEXTLINE(bugprone-exception-escape): json's own destructor and move don't throw
struct ScenarioFile {
  std::string name;  ///< for messages
  nlohmann::json document;
};

/// Reads a file ("-": standard input). Throws ScenarioError: "<file>: line 3, column 13: <...>".
/// Shows progress, unless the user types the text.
ScenarioFile ReadScenarioFile(const std::string& file);

/// Replaces the host's whole state by the scenario, or leaves it as it was and throws
/// ScenarioError: "<file>: <place>: expected <...>". Faults and the journal begin anew too. Secrets
/// that the scenario's dump left out are reported on standard error. When it returns, the
/// document's memory is free.
void LoadScenarioFile(ScenarioFile scenario, Progress& progress);

}  // namespace quelt
