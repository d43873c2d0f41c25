// Parses the text of a scenario document.
#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>

namespace quelt {

/// Parses a JSON text up to its end. Throws ScenarioError, with line and column for invalid JSON
/// and with the JSON pointer to a duplicate key. The message never quotes the text: it may be a
/// key.
nlohmann::json ParseDocument(std::istream& text);

}  // namespace quelt
