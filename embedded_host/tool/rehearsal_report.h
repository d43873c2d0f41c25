// The report of a rehearsal as text.
#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>

#include "embedded_host/tool/table.h"

namespace quelt {

/// Prints a table of steps and modes, then each finding. `report`: see rehearsal.h.
void PrintRehearsal(const nlohmann::ordered_json& report, std::ostream& out, const Style& style);

}  // namespace quelt
