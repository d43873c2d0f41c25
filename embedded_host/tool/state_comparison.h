// Compares the state that a rehearsed command left behind with the states before the command and
// after a run without faults.
#pragma once

#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "embedded_host/tool/generated_values.h"

namespace quelt {

/// A place in the state, as a JSON pointer whose keys are separated; "*" stands for any key.
using IgnoredPlace = std::vector<std::string>;

/// Parses a JSON pointer. Throws std::invalid_argument, whose text says what is expected.
IgnoredPlace ParseIgnoredPlace(const std::string& pointer);

/// What a comparison leaves out or compares by form.
struct ComparisonRules {
  std::vector<IgnoredPlace> ignored;
  bool byForm = false;  ///< runs generate values: compare those by their form
  GeneratedValues generated;
};

struct StateComparison {
  bool isBefore = false;  ///< the same as before the command
  bool isAfter = false;   ///< the same as after a run without faults
  /// The places that differ between any of the three states: objects with the members "place",
  /// "before", "after" and "found", without those that don't exist in their state.
  nlohmann::ordered_json places = nlohmann::ordered_json::array();
};

/// `state` is the path of a state, `before` and `after` are files of HostSnapshot.
StateComparison CompareStates(const std::string& state, const std::string& before,
                              const std::string& after, const ComparisonRules& rules);

/// What two runs without faults have in common.
struct BaselineStates {
  ComparisonRules rules;
  std::set<std::string> secrets;             ///< texts that no report may show
  std::vector<std::string> comparedByBytes;  ///< places of wrapped DEKs that no KEK unwraps
  std::string difference;                    ///< a place with its values; "": the states are equal
};

BaselineStates CompareBaselines(const std::string& before, const std::string& after1,
                                const std::string& after2, std::vector<IgnoredPlace> ignored);

}  // namespace quelt
