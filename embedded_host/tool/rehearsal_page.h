// The report of a rehearsal as an HTML page.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace quelt {

/// The table of steps and modes, then each finding. `report`: see rehearsal.h.
std::string RehearsalPage(const nlohmann::ordered_json& report);

}  // namespace quelt
