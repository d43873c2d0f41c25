#include "embedded_host/tool/rehearsal.h"

#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <utility>

#include "embedded_host/tool/command_process.h"
#include "embedded_host/tool/job_pool.h"
#include "embedded_host/tool/rehearsal_plan.h"
#include "embedded_host/tool/rehearsal_run.h"
#include "embedded_host/tool/rehearsal_verdict.h"
#include "embedded_host/tool/temporary_host.h"

namespace quelt {

using nlohmann::json;
using nlohmann::ordered_json;

namespace {

std::string Serialized(const json& document) {
  return document.dump(-1, ' ', false, json::error_handler_t::replace);
}

json BaselineStatesJson(const std::string& before, const std::string& after1,
                        const std::string& after2, const std::vector<IgnoredPlace>& ignored) {
  BaselineStates states = CompareBaselines(before, after1, after2, ignored);
  return {{"fixed", states.rules.generated.fixed()},
          {"byForm", states.rules.byForm},
          {"secrets", states.secrets},
          {"comparedByBytes", states.comparedByBytes},
          {"difference", states.difference}};
}

/// The last line that is not empty.
std::string LastLine(const std::string& output) {
  const std::size_t end = output.find_last_not_of(" \t\r\n");
  if (end == std::string::npos) {
    return {};
  }
  const std::size_t begin = output.find_last_of("\r\n", end);
  return output.substr(begin == std::string::npos ? 0 : begin + 1,
                       end - (begin == std::string::npos ? 0 : begin + 1) + 1);
}

void ReplaceAll(std::string& text, const std::string& part, const std::string& by) {
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at)) {
    text.replace(at, part.size(), by);
    at += by.size();
  }
}

/// One run, planned or done.
struct PlannedRun {
  std::size_t step = 0;
  std::vector<FaultSpecification> faults;
  json result{};  // null: not done
};

class Rehearsal {
 public:
  Rehearsal(const RehearsalSettings& settings, ScenarioFile scenario,
            const RehearsalProgress& progress)
      : settings_(settings),
        script_{settings.command, settings.timeLimit},
        scenario_(std::move(scenario)),
        progress_(progress),
        pool_(settings.parallel) {
    std::transform(settings.ignored.begin(), settings.ignored.end(),
                   std::back_inserter(rules_.ignored), ParseIgnoredPlace);
  }

  RehearsalResult Run() {
    int signal = RunBaselines();
    if (signal == 0) {
      signal = RunPlan();
    }
    return {Report(signal != 0), signal};
  }

 private:
  int RunBaselines() {
    pool_.Add(
        [this] {
          PrepareRehearsal(folder_, std::move(scenario_));
          return std::string();
        },
        [this](const std::string&) { scenario_ = {}; });
    if (const int signal = pool_.RunAll(); signal != 0) {
      return signal;
    }
    for (const int run : {1, 2}) {
      pool_.Add([this, run] { return Serialized(RunBaseline(folder_, script_, run)); },
                [this, run](const std::string& result) {
                  baselines_[static_cast<std::size_t>(run - 1)] = json::parse(result);
                });
    }
    if (const int signal = pool_.RunAll(); signal != 0) {
      return signal;
    }
    for (const json& baseline : baselines_) {
      CheckEnd(baseline.at("first"));
    }
    CheckSteps();
    pool_.Add(
        [this] {
          return Serialized(BaselineStatesJson(folder_.Before(), folder_.After(1), folder_.After(2),
                                               rules_.ignored));
        },
        [this](const std::string& result) { TakeStates(json::parse(result)); });
    return pool_.RunAll();
  }

  void CheckEnd(const json& end) const {
    const auto output = end.at("output").get<std::string>();
    const int status = end.at("status");
    if (const int error = end.at("error"); error != 0) {
      throw RehearsalFailure(StartFailureText(settings_.command.front(), error), {});
    }
    if (end.at("readInput")) {
      throw RehearsalFailure(
          "The command reads its standard input: redirect that inside of the command, as in "
          "sh -c 'COMMAND <FILE'",
          output);
    }
    if (end.at("timedOut")) {
      throw RehearsalFailure(
          "The command takes longer than the time limit (--timeout) without a "
          "fault",
          output);
    }
    if (end.at("outlived")) {
      throw RehearsalFailure(
          "The command leaves processes behind that continue after it has ended, such as a daemon: "
          "rehearse a command that waits for them",
          output);
    }
    if (status != 0) {
      throw RehearsalFailure(
          "The command fails without a fault: " +
              (WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                                   : "exit status " + std::to_string(WEXITSTATUS(status))),
          output);
    }
  }

  void CheckSteps() {
    const json& journal = baselines_[0].at("journal");
    repeatable_ = !HasSeveralThreads(journal) && !HasSeveralThreads(baselines_[1].at("journal"));
    steps_ = FindSteps(journal);
    std::vector<RehearsalStep> others = FindSteps(baselines_[1].at("journal"));
    if (!repeatable_) {
      steps_ = WholeOperations(steps_);
      others = WholeOperations(others);
    }
    if (const std::string difference = StepDifference(steps_, others); !difference.empty()) {
      throw RehearsalFailure("The command varies without a fault: " + difference, {});
    }
    std::erase_if(steps_, [this](const RehearsalStep& step) {
      return !settings_.only.empty() && std::find(settings_.only.begin(), settings_.only.end(),
                                                  step.operation) == settings_.only.end();
    });
    if (steps_.empty()) {
      throw RehearsalFailure(settings_.only.empty()
                                 ? "The command performs no operation of the host"
                                 : "The command performs none of the operations of --only",
                             {});
    }
  }

  void TakeStates(const json& states) {
    if (const auto difference = states.at("difference").get<std::string>(); !difference.empty()) {
      throw RehearsalFailure("The command varies without a fault: " + difference +
                                 ". Exclude the place with --ignore if that is intended",
                             {});
    }
    rules_.generated = GeneratedValues(states.at("fixed").get<std::set<std::string>>());
    rules_.byForm = states.at("byForm");
    secrets_ = states.at("secrets").get<std::vector<std::string>>();
    comparedByBytes_ = states.at("comparedByBytes");
  }

  int RunPlan() {
    for (std::size_t step = 0; step < steps_.size(); ++step) {
      for (const FaultMode mode : settings_.modes) {
        AddRun(step, {{steps_[step].operation, steps_[step].occurrence, mode}});
      }
    }
    return pool_.RunAll();
  }

  void AddRun(std::size_t step, std::vector<FaultSpecification> faults) {
    const std::size_t index = runs_.size();
    runs_.push_back({step, std::move(faults)});
    pool_.Add(
        [this, index] {
          return Serialized(RunWithFaults(folder_, script_, "run-" + std::to_string(index),
                                          runs_[index].faults, rules_, settings_.retry));
        },
        [this, index](const std::string& result) { TakeRun(index, json::parse(result)); });
  }

  void TakeRun(std::size_t index, json result) {
    ++done_;
    if (AllRefused(runs_[index].faults, result.at("journal"))) {
      runs_[index].result = std::move(result);
      AddSecondFaults(index);
      runs_[index].result.erase("journal");
    }
    progress_(done_, runs_.size());
  }

  /// With --undo: fails each operation after the fault of this run as well.
  void AddSecondFaults(std::size_t index) {
    const std::size_t step = runs_[index].step;
    const std::vector<FaultSpecification> faults = runs_[index].faults;
    const FaultSpecification& first = faults.front();
    if (!settings_.undo || !repeatable_ || faults.size() > 1 || Kills(first.mode) ||
        first.mode == FaultMode::kSlow) {
      return;
    }
    bool later = false;
    for (const RehearsalStep& each : FindSteps(runs_[index].result.at("journal"))) {
      if (later) {
        AddRun(step, {first, {each.operation, each.occurrence, first.mode}});
      }
      later = later || (each.operation == first.operation && each.occurrence == first.occurrence);
    }
  }

  /// A text without secrets and without values that differ from run to run.
  std::string Shown(const std::string& text, const std::string& host) const {
    std::string shown = text;
    for (const std::string& secret : secrets_) {
      ReplaceAll(shown, secret, "(secret)");
    }
    ReplaceAll(shown, host, "(host)");
    return rules_.generated.Replaced(shown);
  }

  ordered_json RunReport(std::size_t index) const {
    const PlannedRun& run = runs_[index];
    const json& end = run.result.at("first");
    const int status = end.at("status");
    const std::string verdict = run.result.at("verdict");
    const bool again = run.result.contains("retryVerdict");
    const auto shown = [&](const json& output) {
      return Shown(LastLine(output.get<std::string>()),
                   folder_.Host("run-" + std::to_string(index)));
    };
    ordered_json faults = ordered_json::array();
    for (const FaultSpecification& fault : run.faults) {
      faults.push_back(FaultSpecificationText(fault));
    }
    const bool finding = IsFinding(verdict);
    return {
        {"step", run.step},
        {"mode", NameOf(run.faults.front().mode)},
        {"faults", std::move(faults)},
        {"verdict", verdict},
        {"firstVerdict", run.result.at("firstVerdict")},
        {"retryVerdict", run.result.value("retryVerdict", json())},
        {"status", WIFEXITED(status) ? ordered_json(WEXITSTATUS(status)) : ordered_json()},
        {"signal", WIFSIGNALED(status) ? ordered_json(WTERMSIG(status)) : ordered_json()},
        {"output", shown(end.at("output"))},
        {"retryOutput", again ? ordered_json(shown(run.result.at("retryOutput"))) : ordered_json()},
        {"places", finding ? ordered_json(run.result.at("places")) : ordered_json::array()},
        {"reproduce",
         ReproducingCommand(settings_.command, settings_.scenario, run.faults, again)}};
  }

  ordered_json StepsReport() const {
    ordered_json steps = ordered_json::array();
    for (const RehearsalStep& step : steps_) {
      const json& record = baselines_[0].at("journal")[step.record];
      json arguments = record.at("arguments");
      rules_.generated.ReplaceIn(arguments);
      const ordered_json occurrence =
          step.occurrence == 0 ? ordered_json() : ordered_json(step.occurrence);
      steps.push_back({{"operation", step.operation},
                       {"occurrence", occurrence},
                       {"arguments", arguments},
                       {"outcome", record.at("outcome")},
                       {"message", rules_.generated.Replaced(record.at("message"))}});
    }
    return steps;
  }

  ordered_json Report(bool interrupted) const {
    ordered_json modes = ordered_json::array();
    for (const FaultMode mode : settings_.modes) {
      modes.push_back(NameOf(mode));
    }
    ordered_json verdicts = ordered_json::object();
    for (const std::string_view name : kVerdictNames) {
      verdicts[std::string(name)] = 0;
    }
    ordered_json runs = ordered_json::array();
    int findings = 0;
    for (const std::size_t index : ReportedRuns()) {
      runs.push_back(RunReport(index));
      const std::string verdict = runs.back().at("verdict");
      verdicts[verdict] = verdicts[verdict].get<int>() + 1;
      findings += IsFinding(verdict) ? 1 : 0;
    }
    return {{"command", settings_.command},
            {"scenario",
             settings_.scenario.empty() ? ordered_json() : ordered_json(settings_.scenario)},
            {"modes", std::move(modes)},
            {"undo", settings_.undo},
            {"retry", settings_.retry},
            {"timeLimit", static_cast<double>(settings_.timeLimit.count()) / 1000},
            {"repeatable", repeatable_},
            {"ignored", settings_.ignored},
            {"comparedByForm", rules_.byForm},
            {"comparedByBytes", comparedByBytes_},
            {"steps", StepsReport()},
            {"runs", std::move(runs)},
            {"verdicts", std::move(verdicts)},
            {"findings", findings},
            {"planned", runs_.size()},
            {"interrupted", interrupted}};
  }

  /// The runs that are done, in the order of the plan. Those with a second fault follow the run
  /// with the first, in the order of the calls: the order in which runs end varies.
  std::vector<std::size_t> ReportedRuns() const {
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < runs_.size(); ++i) {
      if (!runs_[i].result.is_null()) {
        indices.push_back(i);
      }
    }
    const auto mode_position = [this](std::size_t index) {
      return std::find(settings_.modes.begin(), settings_.modes.end(),
                       runs_[index].faults.front().mode);
    };
    std::stable_sort(indices.begin(), indices.end(), [&](std::size_t one, std::size_t other) {
      return std::pair(runs_[one].step, mode_position(one)) <
             std::pair(runs_[other].step, mode_position(other));
    });
    return indices;
  }

  const RehearsalSettings& settings_;
  const RehearsedScript script_;
  ScenarioFile scenario_;
  const RehearsalProgress& progress_;
  // First the temporary host, whose removal the pool's signal handling protects.
  JobPool pool_;
  const TemporaryHost host_;
  const RehearsalFolder folder_{host_.folder()};
  ComparisonRules rules_;
  std::vector<std::string> secrets_;
  ordered_json comparedByBytes_ = ordered_json::array();
  std::array<json, 2> baselines_;
  std::vector<RehearsalStep> steps_;
  std::vector<PlannedRun> runs_;
  std::size_t done_ = 0;
  bool repeatable_ = true;
};

}  // namespace

RehearsalResult Rehearse(const RehearsalSettings& settings, ScenarioFile scenario,
                         const RehearsalProgress& progress) {
  return Rehearsal(settings, std::move(scenario), progress).Run();
}

}  // namespace quelt
