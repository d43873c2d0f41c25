// Shell completion scripts for the tool.
#pragma once

#include <string>

#include "embedded_host/tool/description.h"

namespace quelt {

std::string BashCompletion(const CommandDescription& tool);
/// The bash script, run by zsh's bashcompinit.
std::string ZshCompletion(const CommandDescription& tool);
std::string FishCompletion(const CommandDescription& tool);

}  // namespace quelt
