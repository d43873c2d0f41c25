// What a rehearsal runs: the steps of a command, from the journals of its runs.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "embedded_host/tool/fault_specification.h"

namespace quelt {

/// A call of an operation that a rehearsal fails.
struct RehearsalStep {
  std::string operation;
  int occurrence = 0;      ///< from 1; 0: all calls
  std::size_t record = 0;  ///< its index in the journal
};

/// The calls in a journal (see rehearsal_run.h), without those that fetch the plug-in.
std::vector<RehearsalStep> FindSteps(const nlohmann::json& journal);

/// Each operation of these steps once, with all its calls.
std::vector<RehearsalStep> WholeOperations(const std::vector<RehearsalStep>& steps);

/// True if several threads or processes performed operations.
bool HasSeveralThreads(const nlohmann::json& journal);

/// The difference between the steps of two runs as a sentence; "" if there is none.
std::string StepDifference(const std::vector<RehearsalStep>& one,
                           const std::vector<RehearsalStep>& other);

/// True if all faults of the mode "refuse" were answered with a failure: not all operations can.
bool AllRefused(const std::vector<FaultSpecification>& faults, const nlohmann::json& journal);

/// The command line that repeats a run. `again`: the command is run a second time without faults.
std::string ReproducingCommand(const std::vector<std::string>& command, const std::string& scenario,
                               const std::vector<FaultSpecification>& faults, bool again);

}  // namespace quelt
