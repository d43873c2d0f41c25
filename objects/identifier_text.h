// The two text forms of 16-byte identifiers. Usable with or without the GIL.
//
// Byte 0 comes first, each byte as two hexadecimal digits. Reading follows sscanf's rules for such
// a format: digits of either case, and text after the last byte is ignored.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace pyquelt {

using Identifier = std::array<std::uint8_t, 16>;

/// An object's UUID: groups of 4, 2, 2, 2 and 6 bytes with hyphens between them.
struct ObjectUuidText {
  /// False when `text` does not read as an object UUID; `identifier` is then undefined.
  static bool Read(const char* text, Identifier& identifier);
  /// 36 characters, lower-case digits.
  static std::string Write(const Identifier& identifier);
};

/// A cid: two groups of 8 bytes with a hyphen between them.
struct CidText {
  /// False when `text` does not read as a cid; `identifier` is then undefined.
  static bool Read(const char* text, Identifier& identifier);
};

}  // namespace pyquelt
