#include "unicast/message_text.h"

#include <charconv>
#include <cstdint>
#include <string_view>
#include <vector>

#include "module/py_ref.h"

namespace pyquelt {

namespace {

/// One limb holds nine decimal digits.
constexpr std::uint64_t kLimb = 1'000'000'000;
constexpr std::size_t kLimbDigits = 9;

/// So many hexadecimal digits go into the limbs at a time: with a limb they fit 64 bits.
constexpr std::size_t kChunk = 8;

std::uint64_t HexValue(std::string_view digits) {
  std::uint64_t value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  return value;
}

std::string DecimalFromHex(std::string_view hex) {
  std::vector<std::uint32_t> limbs = {0};  // the least significant one first
  while (!hex.empty()) {
    const std::size_t size = (hex.size() - 1) % kChunk + 1;  // the first chunk may be shorter
    std::uint64_t carry = HexValue(hex.substr(0, size));
    hex.remove_prefix(size);
    for (std::uint32_t& limb : limbs) {
      carry += std::uint64_t{limb} << (4 * kChunk);
      limb = static_cast<std::uint32_t>(carry % kLimb);
      carry /= kLimb;
    }
    for (; carry != 0; carry /= kLimb) {  // at most twice
      limbs.push_back(static_cast<std::uint32_t>(carry % kLimb));
    }
  }
  std::string text = std::to_string(limbs.back());
  for (auto limb = limbs.rbegin() + 1; limb != limbs.rend(); ++limb) {
    const std::string digits = std::to_string(*limb);
    text.append(kLimbDigits - digits.size(), '0').append(digits);
  }
  return text;
}

}  // namespace

bool DecimalText(PyObject* number, std::string& text) {
  // By way of the hexadecimal digits: newer interpreters refuse to write an int of more than 4300
  // decimal ones, and a subclass may define its own str().
  const PyRef object(PyNumber_ToBase(number, 16));
  const char* const digits = object ? PyUnicode_AsUTF8(object.get()) : nullptr;
  if (digits == nullptr) {
    return false;
  }
  std::string_view hex = digits;
  const bool negative = hex.front() == '-';
  hex.remove_prefix(negative ? 3 : 2);  // "-0x" or "0x"
  text = (negative ? "-" : "") + DecimalFromHex(hex);
  return true;
}

}  // namespace pyquelt
