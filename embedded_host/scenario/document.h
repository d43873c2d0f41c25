// The text of a scenario document.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace quelt {

/// Reads a text as JSON. Throws ScenarioError with line and column for what is not JSON, and with
/// the place of a key that stands twice in one object. What was read is never in the message: it
/// may be a key.
nlohmann::json ParseDocument(const std::string& text);

}  // namespace quelt
