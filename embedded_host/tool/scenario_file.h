// A scenario from a file into the host's state.
#pragma once

#include <string>

namespace quelt {

/// The text of a file ("-": standard input).
std::string ReadScenarioFile(const std::string& file);

/// Replaces the host's whole state by the scenario in a text, or leaves it as it was and throws:
/// "<place>: expected <...>" or "line 3, column 13: <...>". Faults and the journal begin anew too.
/// On a terminal a line on standard error shows how far it is.
void LoadScenarioText(const std::string& text);

}  // namespace quelt
