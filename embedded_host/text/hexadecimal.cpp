#include "embedded_host/text/hexadecimal.h"

#include <charconv>

namespace quelt {

std::string HexText(const std::uint8_t* bytes, std::size_t size) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * size);
  for (std::size_t i = 0; i < size; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

std::optional<std::vector<std::uint8_t>> ReadHex(std::string_view digits) {
  if (digits.size() % 2 != 0) {
    return std::nullopt;
  }
  std::vector<std::uint8_t> bytes(digits.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char* const end = digits.data() + 2 * (i + 1);
    const auto read = std::from_chars(end - 2, end, bytes[i], 16);
    if (read.ec != std::errc() || read.ptr != end) {
      return std::nullopt;
    }
  }
  return bytes;
}

}  // namespace quelt
