// Settings of the host, by name.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "embedded_host/store/connection.h"

namespace quelt {

/// The setting's value; std::nullopt when it is not set.
std::optional<std::string> FindSetting(Connection& db, const char* name);
/// The same for a secret: makes no other copy than `value`. False when it is not set.
bool FindSetting(Connection& db, const char* name, std::string& value);
/// A number from 0 to 255. Throws QueltCtlException for any other text, which an untrusted state
/// file may hold.
std::optional<std::uint8_t> FindNumber(Connection& db, const char* name);
void PutSetting(Connection& db, const char* name, const std::string& value);

/// A setting that PutSetting stored as JSON text; an empty object when it is not set. Throws
/// QueltCtlException for any other text.
nlohmann::json FindJsonSetting(Connection& db, const char* name);

}  // namespace quelt
