#include "embedded_host/tool/rehearsal_run.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "embedded_host/operation/journal.h"
#include "embedded_host/tool/host_snapshot.h"
#include "embedded_host/tool/rehearsal_verdict.h"
#include "embedded_host/tool/rehearsed_command.h"

namespace quelt {

using nlohmann::json;

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kBaselineGrace{1};
constexpr std::chrono::milliseconds kLongestDelay{1000};

/// A fresh copy of the host for one run; makes it the host of this process.
class RunHost {
 public:
  RunHost(const RehearsalFolder& folder, const std::string& name) : path_(folder.Host(name)) {
    fs::create_directory(path_);
    fs::copy_file(folder.Before(), state());
    setenv("QUELT_HOST_STATE", state().c_str(), 1);
  }
  RunHost(const RunHost&) = delete;
  RunHost& operator=(const RunHost&) = delete;
  ~RunHost() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  std::string state() const { return path_ + "/host.db"; }

 private:
  const std::string path_;
};

json EndJson(const CommandEnd& end) {
  return {{"error", end.error},       {"status", end.status},       {"timedOut", end.timedOut},
          {"outlived", end.outlived}, {"readInput", end.readInput}, {"output", end.output}};
}

json JournalJson(const std::vector<JournalRecord>& records) {
  json journal = json::array();
  for (const JournalRecord& record : records) {
    journal.push_back({{"operation", record.operation},
                       {"arguments", json::parse(record.arguments)},
                       {"outcome", record.outcome},
                       {"message", record.message},
                       {"process", record.process},
                       {"thread", record.thread}});
  }
  return journal;
}

}  // namespace

void PrepareRehearsal(const RehearsalFolder& folder, ScenarioFile scenario) {
  const std::string host = folder.Host("prepared");
  fs::create_directory(host);
  setenv("QUELT_HOST_STATE", (host + "/host.db").c_str(), 1);
  {
    Progress progress("Creating the host");
    if (!scenario.name.empty()) {
      LoadScenarioFile(std::move(scenario), progress);
    }
    SwitchJournal(true);
    const HostSnapshot before(folder.Before());
  }
  fs::remove_all(host);
}

json RunBaseline(const RehearsalFolder& folder, const RehearsedScript& script, int run) {
  const RunHost host(folder, "baseline-" + std::to_string(run));
  const CommandEnd end = RunRehearsedCommand({script.words, script.timeLimit, kBaselineGrace});
  const HostSnapshot after(folder.After(run));
  return {{"first", EndJson(end)}, {"journal", JournalJson(ReadJournal())}};
}

json RunWithFaults(const RehearsalFolder& folder, const RehearsedScript& script,
                   const std::string& name, const std::vector<FaultSpecification>& faults,
                   const ComparisonRules& rules, bool retry) {
  const RunHost host(folder, name);
  std::vector<NamedFault> stored;
  for (const FaultSpecification& fault : faults) {
    stored.push_back(StoredFaultOf(fault, std::min(kLongestDelay, script.timeLimit / 2)));
  }
  AddFaults(stored);
  const RehearsedCommand command{script.words, script.timeLimit, script.timeLimit};
  const CommandEnd end = RunRehearsedCommand(command);
  const std::vector<JournalRecord> records = ReadJournal();
  const bool killed = std::any_of(records.begin(), records.end(),
                                  [](const auto& record) { return record.outcome == "killed"; });
  const auto compare = [&] {
    return CompareStates(host.state(), folder.Before(), folder.After(1), rules);
  };
  StateComparison state = compare();
  const Verdict first = Judge(end, killed, state);
  Verdict verdict = first;
  json result = {
      {"first", EndJson(end)}, {"journal", JournalJson(records)}, {"firstVerdict", NameOf(first)}};
  if ((retry || killed) && InvitesRetry(first)) {
    HealAllFaults();
    const CommandEnd again = RunRehearsedCommand(command);
    state = compare();
    const Verdict second = Judge(again, false, state);
    verdict = Combine(first, second, killed);
    result["retryVerdict"] = NameOf(second);
    result["retryOutput"] = again.output;
  }
  result["verdict"] = NameOf(verdict);
  result["places"] = std::move(state.places);
  return result;
}

}  // namespace quelt
