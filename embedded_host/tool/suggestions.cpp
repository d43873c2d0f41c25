#include "embedded_host/tool/suggestions.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace quelt {

namespace {

constexpr std::size_t kMaxSuggestions = 3;

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

/// The number of characters to insert, delete or replace to convert one text into the other.
std::size_t EditDistance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= from.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const std::size_t changed = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
      diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1, changed}));
    }
  }
  return row.back();
}

/// True if `whole` contains the characters of `part` in the same order, for example
/// "getconfiguredkekid" those of "getkekid".
bool IsSubsequence(std::string_view part, std::string_view whole) {
  std::size_t found = 0;
  for (const char c : whole) {
    found += found < part.size() && part[found] == c ? 1 : 0;
  }
  return found == part.size();
}

/// Names that are similar to the text, with their distances, the nearest first.
std::vector<std::pair<std::size_t, std::string_view>> Suggestions(
    std::string_view text, const std::vector<std::string_view>& names) {
  const std::string wanted = LowerCase(text);
  // Swapping two characters counts as two changes, which is half of a short word.
  const std::size_t near_enough =
      std::max(wanted.size() / 3, std::min<std::size_t>(wanted.size() / 2, 2));
  std::vector<std::pair<std::size_t, std::string_view>> near;
  for (const std::string_view name : names) {
    const std::string candidate = LowerCase(name);
    const std::size_t distance = EditDistance(wanted, candidate);
    const bool within = wanted.size() >= 3 && IsSubsequence(wanted, candidate);
    if (distance <= near_enough || within) {
      near.emplace_back(distance, name);
    }
  }
  std::sort(near.begin(), near.end());
  near.resize(std::min(near.size(), kMaxSuggestions));
  return near;
}

}  // namespace

std::string DidYouMean(std::string_view text, const std::vector<std::string_view>& names) {
  std::string question;
  for (const auto& [distance, name] : Suggestions(text, names)) {
    question += (question.empty() ? ". Did you mean " : " or ") + std::string(name);
  }
  return question + (question.empty() ? "" : "?");
}

}  // namespace quelt
