#include "embedded_host/tool/generated_values.h"

#include <algorithm>
#include <functional>

namespace quelt {

using nlohmann::json;

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsHex(char c) { return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

bool IsWord(char c) { return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

/// The length of the beginning of `text` that matches a pattern, or 0. In the pattern, "h" is a
/// hexadecimal digit, "d" a decimal one, "T" the letter or a space, all else itself.
std::size_t Match(std::string_view text, std::string_view pattern) {
  if (text.size() < pattern.size()) {
    return 0;
  }
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char c = text[i];
    const bool matches = pattern[i] == 'h'   ? IsHex(c)
                         : pattern[i] == 'd' ? IsDigit(c)
                         : pattern[i] == 'T' ? c == 'T' || c == ' '
                                             : c == pattern[i];
    if (!matches) {
      return 0;
    }
  }
  return pattern.size();
}

std::size_t CountWhile(std::string_view text, bool (*is)(char)) {
  return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), is) - text.begin());
}

/// The length of a time at the beginning of the text, or 0: "2026-11-23T21:30:05.25+01:00", with
/// "T" or a space and every part after the seconds optional, "20261123T213005Z", or a number of
/// seconds (with decimals), milli-, micro- or nanoseconds since 1970 in the years 2001 to 2065.
std::size_t MatchTime(std::string_view text) {
  std::size_t length = std::max(Match(text, "dddd-dd-ddTdd:dd:dd"), Match(text, "ddddddddTdddddd"));
  const bool is_date = length > 0;
  if (!is_date) {
    const std::size_t digits = CountWhile(text, IsDigit);
    const bool is_count = digits == 10 || digits == 13 || digits == 16 || digits == 19;
    if (!is_count || text[0] < '1' || text[0] > '2') {
      return 0;
    }
    length = digits;
  }
  if (const auto rest = text.substr(length); Match(rest, ".d") > 0) {
    length += 1 + CountWhile(rest.substr(1), IsDigit);
  }
  const std::string_view zone = is_date ? text.substr(length) : "";
  return length + std::max({Match(zone, "Z"), Match(zone, "+dd:dd"), Match(zone, "-dd:dd")});
}

GeneratedPart PartAt(std::string_view text, std::size_t begin) {
  constexpr std::size_t kShortestNumber = 16;
  constexpr std::size_t kShortestAddress = 6;
  const std::string_view rest = text.substr(begin);
  if (const std::size_t size = Match(rest, "hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh")) {
    return {begin, size, "(UUID)"};
  }
  if (const std::size_t size = MatchTime(rest)) {
    return {begin, size, "(time)"};
  }
  if (Match(rest, "0x") > 0) {
    const std::size_t digits = CountWhile(rest.substr(2), IsHex);
    return {begin, digits < kShortestAddress ? 0 : digits + 2, "(address)"};
  }
  const std::size_t digits = CountWhile(rest, IsHex);
  return {begin, digits < kShortestNumber ? 0 : digits,
          "(" + std::to_string(digits) + " hexadecimal digits)"};
}

void ForEachText(const json& document, const std::function<void(const std::string&)>& visit) {
  if (document.is_string()) {
    visit(document.get_ref<const std::string&>());
  } else if (document.is_structured()) {
    for (const auto& [key, member] : document.items()) {
      if (document.is_object()) {
        visit(key);
      }
      ForEachText(member, visit);
    }
  }
}

}  // namespace

std::vector<GeneratedPart> FindGeneratedParts(std::string_view text) {
  std::vector<GeneratedPart> parts;
  std::size_t begin = 0;
  while (begin < text.size()) {
    if (!IsWord(text[begin])) {
      ++begin;
      continue;
    }
    GeneratedPart part = PartAt(text, begin);
    const std::size_t end = begin + part.size;
    if (part.size > 0 && (end == text.size() || !IsWord(text[end]))) {
      parts.push_back(std::move(part));
      begin = end;
    } else {
      begin += CountWhile(text.substr(begin), IsWord);  // continue behind this word
    }
  }
  return parts;
}

std::set<std::string> CollectGeneratedParts(const json& document) {
  std::set<std::string> parts;
  ForEachText(document, [&](const std::string& text) {
    for (const GeneratedPart& part : FindGeneratedParts(text)) {
      parts.insert(text.substr(part.begin, part.size));
    }
  });
  return parts;
}

std::string GeneratedValues::Replaced(const std::string& text) const {
  std::string replaced;
  std::size_t copied = 0;
  for (const GeneratedPart& part : FindGeneratedParts(text)) {
    if (!fixed_.contains(text.substr(part.begin, part.size))) {
      replaced += text.substr(copied, part.begin - copied) + part.form;
      copied = part.begin + part.size;
    }
  }
  return replaced + text.substr(copied);
}

void GeneratedValues::ReplaceIn(json& document) const {
  if (document.is_string()) {
    document = Replaced(document.get<std::string>());
  } else if (document.is_array()) {
    for (json& item : document) {
      ReplaceIn(item);
    }
    if (!document.empty() && document.front().is_object()) {
      std::sort(document.begin(), document.end());  // it was sorted by generated values, perhaps
    }
  } else if (document.is_object()) {
    json replaced = json::object();
    for (auto& [key, member] : document.items()) {
      ReplaceIn(member);
      std::string name = Replaced(key);
      while (replaced.contains(name)) {
        name += "'";  // two generated keys of one form
      }
      replaced[name] = std::move(member);
    }
    document = std::move(replaced);
  }
}

}  // namespace quelt
