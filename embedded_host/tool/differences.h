// The differences between two dumps of a host.
#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
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

/// Prints one line per difference.
void PrintDifferences(const std::vector<Difference>& differences, std::ostream& out,
                      const Style& style);

}  // namespace quelt
