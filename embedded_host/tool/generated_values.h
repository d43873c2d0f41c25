// Values that differ from one run of a script to the next by their nature: UUIDs, times and random
// keys that the script or the host generates. A rehearsal compares them by their form.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quelt {

/// A part of a text that may be generated.
struct GeneratedPart {
  std::size_t begin;
  std::size_t size;
  std::string form;  ///< "(UUID)", "(time)", "(address)" or "(64 hexadecimal digits)"
};

/// The parts of a text that look like UUIDs, times, memory addresses or long hexadecimal numbers.
std::vector<GeneratedPart> FindGeneratedParts(std::string_view text);

/// All such parts of the texts and keys in a document.
std::set<std::string> CollectGeneratedParts(const nlohmann::json& document);

/// Knows which of these parts are the same in all runs, and replaces all others with their form.
class GeneratedValues {
 public:
  GeneratedValues() = default;
  explicit GeneratedValues(std::set<std::string> fixed) : fixed_(std::move(fixed)) {}

  std::string Replaced(const std::string& text) const;
  void ReplaceIn(nlohmann::json& document) const;

  const std::set<std::string>& fixed() const { return fixed_; }

 private:
  std::set<std::string> fixed_;
};

}  // namespace quelt
