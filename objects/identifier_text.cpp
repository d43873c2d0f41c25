#include "objects/identifier_text.h"

#include <cstddef>
#include <cstdio>
#include <utility>

namespace pyquelt {

namespace {

constexpr char kObjectUuidFormat[] =
    "%02hhx%02hhx%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-"
    "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx";
constexpr char kCidFormat[] =
    "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx-"
    "%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx";

template <std::size_t... Index>
bool Scan(const char* text, const char* format, Identifier& bytes, std::index_sequence<Index...>) {
  return std::sscanf(text, format, &bytes[Index]...) == sizeof...(Index);
}

template <std::size_t... Index>
std::string Print(const char* format, const Identifier& bytes, std::index_sequence<Index...>) {
  char text[64];
  (void)std::snprintf(text, sizeof(text), format, bytes[Index]...);
  return text;
}

constexpr auto kEachByte = std::make_index_sequence<16>();

}  // namespace

bool ObjectUuidText::Read(const char* text, Identifier& identifier) {
  return Scan(text, kObjectUuidFormat, identifier, kEachByte);
}

std::string ObjectUuidText::Write(const Identifier& identifier) {
  return Print(kObjectUuidFormat, identifier, kEachByte);
}

bool CidText::Read(const char* text, Identifier& identifier) {
  return Scan(text, kCidFormat, identifier, kEachByte);
}

}  // namespace pyquelt
