// The names of platform operations, as arguments of the tool.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace quelt {

/// Accepts the name of a platform operation. The error for another text suggests names: for a
/// function of the module, the operations that it performs.
CLI::Validator OperationName();

/// All names, one per line, for the end of a help text.
std::string OperationNameLines();

}  // namespace quelt
