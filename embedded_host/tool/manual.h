// The manual page of the tool.
#pragma once

#include <string>

#include "embedded_host/tool/description.h"

namespace quelt {

/// Returns a page of section 1, written with the macros of man(7).
std::string ManualPage(const CommandDescription& tool);

}  // namespace quelt
