// Scripts that teach shells to complete the tool's command lines.
#pragma once

#include <string>

#include "embedded_host/tool/description.h"

namespace quelt {

std::string BashCompletion(const CommandDescription& tool);
/// The same functions, through zsh's own layer for such scripts.
std::string ZshCompletion(const CommandDescription& tool);
std::string FishCompletion(const CommandDescription& tool);

}  // namespace quelt
