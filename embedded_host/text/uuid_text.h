// The text form of 16-byte identifiers: hexadecimal groups of 4, 2, 2, 2 and 6 bytes.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace quelt {

using UuidBytes = std::array<std::uint8_t, 16>;

/// 36 characters, lower-case digits.
std::string UuidText(const std::uint8_t* bytes);
inline std::string UuidText(const UuidBytes& uuid) { return UuidText(uuid.data()); }

/// Parses exactly the text form, with digits of either case; std::nullopt for any other text.
std::optional<UuidBytes> ReadUuid(const std::string& text);

/// Parses the identifier at the start of `text` as sscanf does; ignores what follows.
std::optional<UuidBytes> ScanUuid(const char* text);

}  // namespace quelt
