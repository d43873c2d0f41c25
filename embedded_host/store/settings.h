// Single settings of the host, by name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "embedded_host/store/connection.h"

namespace quelt {

/// The setting's value, or nothing when it was never set.
std::optional<std::string> FindSetting(Connection& db, const char* name);
/// The same for secrets, which pass through no other place; false when it was never set.
bool FindSetting(Connection& db, const char* name, std::string& value);
/// A number from 0 to 255. A state from elsewhere may hold another text: QueltCtlException.
std::optional<std::uint8_t> FindNumber(Connection& db, const char* name);
void PutSetting(Connection& db, const char* name, const std::string& value);

}  // namespace quelt
