// The differences between dumps of hosts.
#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "embedded_host/store/connection.h"
#include "embedded_host/tool/table.h"

namespace quelt {

/// A dump with secrets, to detect changes, and without them, to determine what may be shown.
// NOLINTNEXTLINE(bugprone-exception-escape): json's own destructor and move don't throw
struct HostDump {
  nlohmann::json whole;
  nlohmann::json shown;
};

HostDump DumpHost(Connection& db, bool withSecrets);

/// A value that was added, removed or changed. Secrets are replaced with "(secret)".
struct Difference {
  enum class Kind { kAdded, kRemoved, kChanged };
  Kind kind;
  std::string place;  ///< keys, and the names of the items of lists: "/disks/d1/kekId"
  nlohmann::json before;
  nlohmann::json after;
};

std::vector<Difference> FindDifferences(const HostDump& before, const HostDump& after);

/// A place at which some of several dumps differ.
struct DifferingPlace {
  std::string place;
  /// The dumps' values in their order, without secrets; std::nullopt: the dump has none.
  std::vector<std::optional<nlohmann::json>> values;
  /// For each dump, the first one whose value, including secrets, is the same: {0, 1, 0} if the
  /// first and the third are equal.
  std::vector<std::size_t> firstEqual;
};

std::vector<DifferingPlace> FindDifferingPlaces(const std::vector<HostDump>& dumps);

/// Converts lists of objects to objects with the items' names as keys, so that an item's place does
/// not depend on the items before it.
nlohmann::json KeyByName(const nlohmann::json& value);

/// Prints one line per difference.
void PrintDifferences(const std::vector<Difference>& differences, std::ostream& out,
                      const Style& style);

}  // namespace quelt
