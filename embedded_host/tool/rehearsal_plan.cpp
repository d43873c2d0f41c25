#include "embedded_host/tool/rehearsal_plan.h"

#include <algorithm>
#include <set>
#include <utility>

namespace quelt {

using nlohmann::json;

namespace {

/// Quotes a word for a shell, if necessary.
std::string ShellWord(const std::string& word) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=:,./@%";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) {
    return word;
  }
  std::string quoted = "'";
  for (const char c : word) {
    quoted += c == '\'' ? "'\\''" : std::string(1, c);
  }
  return quoted + "'";
}

std::string StepText(const RehearsalStep& step) {
  return step.operation + ":" + std::to_string(step.occurrence);
}

}  // namespace

std::vector<RehearsalStep> FindSteps(const json& journal) {
  std::vector<RehearsalStep> steps;
  std::map<std::string, int> calls;
  for (std::size_t i = 0; i < journal.size(); ++i) {
    const auto operation = journal[i].at("operation").get<std::string>();
    if (operation != "GetQueltPlugin" && operation != "GetHostSystem") {
      steps.push_back({operation, ++calls[operation], i});
    }
  }
  return steps;
}

std::vector<RehearsalStep> WholeOperations(const std::vector<RehearsalStep>& steps) {
  std::vector<RehearsalStep> operations;
  for (const RehearsalStep& step : steps) {
    if (step.occurrence == 1) {
      operations.push_back({step.operation, 0, step.record});
    }
  }
  std::sort(operations.begin(), operations.end(),
            [](const auto& one, const auto& other) { return one.operation < other.operation; });
  return operations;
}

bool HasSeveralThreads(const json& journal) {
  return std::any_of(journal.begin(), journal.end(), [&](const json& record) {
    return record.at("thread") != journal.front().at("thread");
  });
}

std::string StepDifference(const std::vector<RehearsalStep>& one,
                           const std::vector<RehearsalStep>& other) {
  for (std::size_t i = 0; i < std::max(one.size(), other.size()); ++i) {
    const std::string first = i < one.size() ? StepText(one[i]) : "nothing";
    const std::string second = i < other.size() ? StepText(other[i]) : "nothing";
    if (first != second) {
      return "its operation " + std::to_string(i + 1) + " was " + first + " in one run and " +
             second + " in the other";
    }
  }
  return {};
}

bool AllRefused(const std::vector<FaultSpecification>& faults, const json& journal) {
  return std::all_of(faults.begin(), faults.end(), [&](const FaultSpecification& fault) {
    return fault.mode != FaultMode::kRefuse ||
           std::any_of(journal.begin(), journal.end(), [&](const json& record) {
             return record.at("operation") == fault.operation && record.at("outcome") == "refused";
           });
  });
}

std::string ReproducingCommand(const std::vector<std::string>& command, const std::string& scenario,
                               const std::vector<FaultSpecification>& faults, bool again) {
  std::string line = "quelt-host run";
  if (!scenario.empty()) {
    line += " --scenario " + ShellWord(scenario);
  }
  for (const FaultSpecification& fault : faults) {
    line += " --fail '" + FaultSpecificationText(fault) + "'";
  }
  line += " --";
  if (again) {
    line += R"( sh -c '"$@"; quelt-host heal; "$@"' sh)";
  }
  for (const std::string& word : command) {
    line += " " + ShellWord(word);
  }
  return line;
}

}  // namespace quelt
