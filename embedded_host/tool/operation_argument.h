// The names of platform operations, as arguments of the tool.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace quelt {

/// Accepts the name of a platform operation; for any other text the refusal suggests names.
CLI::Validator OperationName();

/// All names, in lines, for the foot of a help text.
std::string OperationNameLines();

}  // namespace quelt
