// run: a command on a fresh host of its own, and what it did there.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "embedded_host/store/failure.h"
#include "embedded_host/tool/command_process.h"
#include "embedded_host/tool/commands.h"
#include "embedded_host/tool/differences.h"
#include "embedded_host/tool/journal_output.h"
#include "embedded_host/tool/scenario_file.h"

namespace quelt {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

struct RunArguments {
  std::string scenario;
  std::string report;
  bool asJson = false;
  bool secrets = false;
};

/// A folder that goes away with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "quelt-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) {
      ThrowSystemFailure(path_, errno);
    }
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// Every call fetches the plug-in and its operations object first; that this went well says
/// nothing.
bool IsWorthTelling(const JournalRecord& record) {
  return record.outcome != "answered" ||
         (record.operation != "GetQueltPlugin" && record.operation != "GetHostSystem");
}

void PrintReport(const std::vector<Difference>& differences,
                 const std::vector<JournalRecord>& records, std::ostream& out, const Style& style) {
  out << style.Bold(differences.empty() ? "The command changed nothing."
                                        : "What the command changed:")
      << '\n';
  PrintDifferences(differences, out, style);
  std::vector<JournalRecord> told;
  for (const JournalRecord& record : records) {
    if (IsWorthTelling(record)) {
      told.push_back(record);
    }
  }
  out << '\n'
      << style.Bold(told.empty() ? "It caused no operation."
                                 : "The operations it caused (without fetching the plug-in):")
      << '\n';
  if (!told.empty()) {
    PrintJournal(told, out, style);
  }
}

json ReportJson(int status, const std::vector<Difference>& differences,
                const std::vector<JournalRecord>& records) {
  constexpr const char* kKinds[] = {"added", "removed", "changed"};
  json changes = json::array();
  for (const auto& [kind, place, before, after] : differences) {
    json change = {{"change", kKinds[static_cast<int>(kind)]}, {"place", place}};
    if (kind != Difference::Kind::kAdded) {
      change["before"] = before;
    }
    if (kind != Difference::Kind::kRemoved) {
      change["after"] = after;
    }
    changes.push_back(std::move(change));
  }
  json journal = json::array();
  for (const JournalRecord& record : records) {
    journal.push_back(json(RecordJson(record)));
  }
  return {{"status", status}, {"changes", std::move(changes)}, {"journal", std::move(journal)}};
}

void Report(const RunArguments& arguments, int status, const HostDump& before) {
  const std::vector<Difference> differences = FindDifferences(before, DumpHost(arguments.secrets));
  const std::vector<JournalRecord> records = ReadJournal();
  std::ofstream file;
  if (!arguments.report.empty()) {
    file.open(arguments.report);
  }
  std::ostream& out = arguments.report.empty() ? std::cerr : file;
  if (arguments.asJson) {
    out << ReportJson(status, differences, records)
               .dump(2, ' ', false, json::error_handler_t::replace)
        << '\n';
  } else {
    PrintReport(differences, records, out,
                arguments.report.empty() ? Style(STDERR_FILENO) : Style(-1));
  }
  if (!out.flush()) {
    throw std::runtime_error((arguments.report.empty() ? "Standard error" : arguments.report) +
                             ": the report could not be written");
  }
}

/// Gives the command's exit status.
int RunOnFreshHost(const RunArguments& arguments, const std::vector<std::string>& command) {
  ScenarioFile scenario;
  if (!arguments.scenario.empty()) {
    scenario = ReadScenarioFile(arguments.scenario);  // may wait for a writer: signals end that
  }
  const CommandProcess process;  // outlives the folder: no signal may keep that from being removed
  const TemporaryFolder folder;
  setenv("QUELT_HOST_STATE", (folder.path() + "/host.db").c_str(), 1);
  if (!arguments.scenario.empty()) {
    LoadScenarioFile(std::exchange(scenario, {}));
  }
  const HostDump before = DumpHost(arguments.secrets);
  SwitchJournal(true);
  const int status = process.Run(command);
  Report(arguments, status, before);
  return status;
}

}  // namespace

void AddRunCommand(CLI::App& app, const std::vector<std::string>& command) {
  CLI::App& run = *app.add_subcommand(
      "run", "Run a command on a fresh host of its own, then show what it changed and called");
  const auto arguments = std::make_shared<RunArguments>();
  run.add_option("--scenario", arguments->scenario, "Load this first, not the default scenario")
      ->type_name("FILE");
  run.add_option("--report", arguments->report, "Write the report there, not to standard error")
      ->type_name("FILE");
  run.add_flag("--json", arguments->asJson, "The report as one JSON object");
  run.add_flag("--secrets", arguments->secrets, "Show keys, DEKs and passwords that changed");
  // The library would take words like "[a,b]" apart: main keeps the command from it.
  run.add_option("COMMAND", "The command and its arguments, after --");
  run.footer(
      "The host is made for this and removed afterwards; QUELT_HOST_STATE names it to the "
      "command.\n"
      "SIGTERM and SIGHUP are passed on to the command; then follows the report, as usual.\n"
      "The exit status is the command's, 128 and the signal's number if a signal ended it.\n\n"
      "Example:\n  quelt-host run --scenario two-keks.json -- python3 unlock.py disk-1 kek-2");
  run.callback([&app, arguments, &command] {
    if (app.count("--state") > 0) {
      throw CLI::ValidationError("--state", "run makes a host of its own");
    }
    if (command.empty()) {
      throw CLI::RequiredError("-- with a command after it");
    }
    if (const int status = RunOnFreshHost(*arguments, command); status != 0) {
      throw CLI::RuntimeError(status);
    }
  });
}

}  // namespace quelt
