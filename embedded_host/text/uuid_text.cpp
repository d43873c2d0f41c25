#include "embedded_host/text/uuid_text.h"

#include <cctype>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <utility>

namespace quelt {

namespace {

constexpr std::string_view kShape = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
constexpr char kFormat[] =
    "%02hhx%02hhx%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-"
    "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx";

template <std::size_t... Index>
void Print(char* text, std::size_t size, const std::uint8_t* bytes, std::index_sequence<Index...>) {
  (void)std::snprintf(text, size, kFormat, bytes[Index]...);
}

template <std::size_t... Index>
bool Scan(const char* text, UuidBytes& bytes, std::index_sequence<Index...>) {
  return std::sscanf(text, kFormat, &bytes[Index]...) == sizeof...(Index);
}

bool HasShape(const std::string& text) {
  for (std::size_t i = 0; i < kShape.size() && i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (kShape[i] == '-' ? c != '-' : std::isxdigit(c) == 0) {
      return false;
    }
  }
  return text.size() == kShape.size();
}

}  // namespace

std::string UuidText(const std::uint8_t* bytes) {
  char text[kShape.size() + 1];
  Print(text, sizeof(text), bytes, std::make_index_sequence<16>());
  return text;
}

std::optional<UuidBytes> ReadUuid(const std::string& text) {
  return HasShape(text) ? ScanUuid(text.c_str()) : std::nullopt;
}

std::optional<UuidBytes> ScanUuid(const char* text) {
  UuidBytes bytes{};
  return Scan(text, bytes, std::make_index_sequence<16>()) ? std::optional(bytes) : std::nullopt;
}

}  // namespace quelt
