// The text of a scenario document.
#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>

namespace quelt {

/// Reads a text to its end as JSON. Throws ScenarioError with line and column for what is not JSON,
/// and with the place of a key that stands twice in one object. What was read is never in the
/// message: it may be a key.
nlohmann::json ParseDocument(std::istream& text);

}  // namespace quelt
