// The runs of a rehearsal: each one in a process of its own, on a host of its own.
#pragma once

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "embedded_host/tool/fault_specification.h"
#include "embedded_host/tool/scenario_file.h"
#include "embedded_host/tool/state_comparison.h"

namespace quelt {

/// The files that the runs of a rehearsal share.
struct RehearsalFolder {
  std::string path;

  std::string Before() const { return path + "/before.db"; }
  /// After the baseline run 1 or 2.
  std::string After(int run) const { return path + "/after-" + std::to_string(run) + ".db"; }
  std::string Host(const std::string& run) const { return path + "/" + run; }
};

/// A command that is rehearsed.
struct RehearsedScript {
  std::vector<std::string> words;
  std::chrono::milliseconds timeLimit;
};

// Each of these functions must be called in a process of its own: it sets the path of the process's
// host. All but PrepareRehearsal return a JSON object with the member "first": the end of the
// command, with "error" (errno value), "status", "timedOut", "outlived", "readInput" and "output";
// and "journal": the calls as objects with "operation", "arguments", "outcome", "message",
// "process" and "thread".

/// Creates the state in which all runs begin. Without a scenario's name: the default one.
void PrepareRehearsal(const RehearsalFolder& folder, ScenarioFile scenario);

/// Runs the command without faults and stores the state afterwards.
nlohmann::json RunBaseline(const RehearsalFolder& folder, const RehearsedScript& script, int run);

/// Runs the command with faults. Further members of the result: "firstVerdict", "verdict", and if
/// the command was run again, "retryVerdict" and "retryOutput"; "places", see StateComparison. With
/// `retry`, and after a fault that killed it, the command is run again without faults.
nlohmann::json RunWithFaults(const RehearsalFolder& folder, const RehearsedScript& script,
                             const std::string& name, const std::vector<FaultSpecification>& faults,
                             const ComparisonRules& rules, bool retry);

}  // namespace quelt
