// Bytes as hexadecimal digits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quelt {

/// Two lower-case digits for each byte.
std::string HexText(const std::uint8_t* bytes, std::size_t size);

/// The bytes that `digits` encode, in either case; std::nullopt for an odd number of characters or
/// for a character that is not a hexadecimal digit.
std::optional<std::vector<std::uint8_t>> ReadHex(std::string_view digits);

}  // namespace quelt
