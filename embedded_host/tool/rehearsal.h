// A rehearsal: runs a command again and again on copies of one host, each time failing another one
// of its operations, and judges what each run leaves behind.
//
// Its report is one JSON document; --json prints it, and the text and the HTML page show it:
//
//   "command"         the words of the command
//   "scenario"        the scenario's file, or null for the default scenario
//   "modes"           the names of the modes, in the order of the columns
//   "undo", "retry"   whether these options were given
//   "timeLimit"       of each run, in seconds
//   "repeatable"      false: several threads or processes perform operations, so the number of a
//                     call is not the same in each run, and faults apply to all calls
//   "ignored"         the places that --ignore excluded
//   "comparedByForm"  whether generated UUIDs, times and random keys were compared by their form
//   "comparedByBytes" the places of wrapped DEKs that no KEK unwraps
//   "steps"           the operations to fail, in order: objects with "operation", "occurrence"
//   (from
//                     1; null: all calls), "arguments" (secrets redacted), "outcome" and "message"
//                     in the run without faults
//   "runs"            see below, in the order of the steps and modes
//   "verdicts"        for each verdict, the number of runs
//   "findings"        the number of runs with the verdict "half done", "hidden", "hung" or
//   "crashed" "planned"         the number of runs that were planned; "runs" lacks those of the
//   mode "refuse"
//                     whose operation has no such answer
//   "interrupted"     true: a signal ended the rehearsal early, and runs are missing
//
// A run:
//
//   "step"            index into "steps"
//   "mode"            of the fault in this step
//   "faults"          as for `run --fail`: ["PersistKekId:1=throw"]; with --undo, some runs have a
//                     second one, in an operation after the first
//   "verdict"         "clean", "completed", "late", "half done", "hidden", "hung" or "crashed"
//   "firstVerdict"    that of the run with the fault; differs from "verdict" if the retry counts
//   "retryVerdict"    that of the second run without faults; null if there was none
//   "status"          the exit status of the run with the fault, or null
//   "signal"          the signal that ended it, or null
//   "output"          the last line of its output, secrets redacted
//   "retryOutput"     the last line of the second run's output, or null
//   "places"          for a finding: objects with "place" (a JSON pointer) and the values "before",
//                     "after" (a run without faults) and "found"; a missing member means that the
//                     state has no such value; secrets are "(secret)"
//   "reproduce"       a command line that repeats the run
//
// The document contains no times and no process ids: two rehearsals of one script print the same.
#pragma once

#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "embedded_host/tool/fault_specification.h"
#include "embedded_host/tool/scenario_file.h"

namespace quelt {

struct RehearsalSettings {
  std::vector<std::string> command;
  std::string scenario;  ///< a file; "": the default scenario
  std::vector<FaultMode> modes;
  std::vector<std::string> only;  ///< operations; empty: all
  std::vector<std::string> ignored;
  bool undo = false;
  bool retry = false;
  std::size_t parallel = 1;
  std::chrono::milliseconds timeLimit{0};
};

struct RehearsalResult {
  nlohmann::ordered_json report;
  int signal = 0;  ///< that interrupted it
};

/// The command can't be rehearsed. Its output, if any, explains it.
class RehearsalFailure : public std::runtime_error {
 public:
  RehearsalFailure(const std::string& reason, std::string output)
      : std::runtime_error(reason), output_(std::move(output)) {}
  const std::string& output() const { return output_; }

 private:
  std::string output_;
};

/// Called after each run.
using RehearsalProgress = std::function<void(std::size_t done, std::size_t planned)>;

/// Throws RehearsalFailure, or another exception when a run could not be made.
RehearsalResult Rehearse(const RehearsalSettings& settings, ScenarioFile scenario,
                         const RehearsalProgress& progress);

}  // namespace quelt
