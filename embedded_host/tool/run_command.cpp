// run: runs a command on a temporary host and reports its changes and operations.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ext/stdio_filebuf.h>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "embedded_host/store/descriptor.h"
#include "embedded_host/store/failure.h"
#include "embedded_host/tool/command_process.h"
#include "embedded_host/tool/commands.h"
#include "embedded_host/tool/differences.h"
#include "embedded_host/tool/fault_specification.h"
#include "embedded_host/tool/host_snapshot.h"
#include "embedded_host/tool/journal_output.h"
#include "embedded_host/tool/json_text.h"
#include "embedded_host/tool/page_file.h"
#include "embedded_host/tool/progress.h"
#include "embedded_host/tool/run_page.h"
#include "embedded_host/tool/scenario_file.h"
#include "embedded_host/tool/temporary_host.h"

namespace quelt {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

struct RunArguments {
  std::string scenario;
  std::string report;
  std::string html;
  std::vector<std::string> faults;
  bool asJson = false;
  bool secrets = false;
};

/// The output of a report. It is opened before the command starts, to detect an invalid path early,
/// and truncated only when the report is written.
class ReportStream {
 public:
  explicit ReportStream(const std::string& path)
      : path_(path),
        file_(path.empty() ? -1 : open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666)) {
    if (!path.empty() && !file_.valid()) {
      ThrowSystemFailure(path, errno);
    }
  }

  void Write(const std::function<void(std::ostream&, const Style&)>& print) {
    if (!file_.valid()) {
      print(std::cerr, Style(STDERR_FILENO));
      Check(std::cerr);
      return;
    }
    static_cast<void>(ftruncate(file_.get(), 0));  // fails unless it is a regular file
    __gnu_cxx::stdio_filebuf<char> buffer(dup(file_.get()), std::ios::out);
    std::ostream out(&buffer);
    print(out, Style(-1));
    Check(out);
  }

 private:
  void Check(std::ostream& out) const {
    if (!out.flush()) {
      throw std::runtime_error((path_.empty() ? "Standard error" : path_) +
                               ": the report could not be written");
    }
  }

  const std::string path_;
  const Descriptor file_;
};

/// False for successful calls that fetch the plug-in and its operations object: nearly every module
/// function makes them first.
bool IsReportable(const JournalRecord& record) {
  return record.outcome != "answered" ||
         (record.operation != "GetQueltPlugin" && record.operation != "GetHostSystem");
}

std::vector<JournalRecord> Reportable(std::vector<JournalRecord> records) {
  std::erase_if(records, [](const JournalRecord& record) { return !IsReportable(record); });
  return records;
}

void PrintReport(const std::vector<Difference>& differences,
                 const std::vector<JournalRecord>& records, std::ostream& out, const Style& style) {
  out << style.Bold(differences.empty() ? "The command changed nothing."
                                        : "What the command changed:")
      << '\n';
  PrintDifferences(differences, out, style);
  const std::vector<JournalRecord> reported = Reportable(records);
  out << '\n'
      << style.Bold(reported.empty() ? "It called no operation."
                                     : "The operations it called (without fetching the plug-in):")
      << '\n';
  if (!reported.empty()) {
    PrintJournal(reported, out, style);
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

/// Where the report is written to.
struct ReportOutputs {
  explicit ReportOutputs(const RunArguments& arguments)
      : text(arguments.report), page(arguments.html) {}
  ReportStream text;
  PageFile page;
};

void Report(const RunArguments& arguments, const std::vector<std::string>& command,
            ReportOutputs& outputs, int status, const HostSnapshot& before) {
  const std::vector<Difference> differences = [&] {
    const Progress progress("Comparing the host with its state before");
    return before.FindChanges(arguments.secrets);
  }();
  const std::vector<JournalRecord> records = ReadJournal();
  if (outputs.page.wanted()) {
    outputs.page.Write(
        RunPage({command, arguments.scenario, status, differences, Reportable(records)}));
  }
  outputs.text.Write([&](std::ostream& out, const Style& style) {
    if (arguments.asJson) {
      out << JsonText(ReportJson(status, differences, records), 2) << '\n';
    } else {
      PrintReport(differences, records, out, style);
    }
  });
}

/// Returns the exit status that a shell would report. Throws StatusFailure if the command could not
/// be started.
int ExitStatus(const std::string& command, const CommandOutcome& outcome) {
  constexpr int kNotFound = 127;
  constexpr int kNotExecutable = 126;
  if (outcome.error == 0) {
    return WIFSIGNALED(outcome.status) ? 128 + WTERMSIG(outcome.status)
                                       : WEXITSTATUS(outcome.status);
  }
  const bool lacks_interpreter = outcome.error == ENOENT && command.find('/') != command.npos &&
                                 access(command.c_str(), F_OK) == 0;
  const bool is_missing =
      (outcome.error == ENOENT && !lacks_interpreter) || outcome.error == ENOTDIR;
  throw StatusFailure(is_missing ? kNotFound : kNotExecutable,
                      StartFailureText(command, outcome.error));
}

/// Creates the host from the scenario (without a name: the default one) and starts the journal.
HostSnapshot PrepareHost(const std::string& folder, ScenarioFile scenario) {
  Progress progress("Creating the host");
  if (!scenario.name.empty()) {
    LoadScenarioFile(std::move(scenario), progress);
    progress.Begin("Copying the host's state for comparison");
  }
  HostSnapshot before(folder + "/before.db");
  SwitchJournal(true);
  return before;
}

void InjectFaults(const std::vector<std::string>& texts) {
  constexpr std::chrono::seconds kSlow{1};
  std::vector<NamedFault> faults;
  for (const std::string& text : texts) {
    faults.push_back(StoredFaultOf(ParseFaultSpecification(text), kSlow));
  }
  if (!faults.empty()) {
    AddFaults(faults);
  }
}

/// Returns the command's exit status.
int RunOnFreshHost(const RunArguments& arguments, const std::vector<std::string>& command) {
  ScenarioFile scenario;
  if (!arguments.scenario.empty()) {
    // Reading may wait for input, and signals are not blocked yet.
    scenario = ReadScenarioFile(arguments.scenario);
  }
  ReportOutputs outputs(arguments);
  const CommandProcess process;  // outlives the host, so that a signal cannot prevent its removal
  const TemporaryHost host;
  setenv("QUELT_HOST_STATE", (host.folder() + "/host.db").c_str(), 1);
  const HostSnapshot before = PrepareHost(host.folder(), std::exchange(scenario, {}));
  InjectFaults(arguments.faults);
  const int status = ExitStatus(command.front(), process.Run(command));
  Report(arguments, command, outputs, status, before);
  return status;
}

}  // namespace

void AddRunCommand(CLI::App& app, const std::vector<std::string>& command) {
  CLI::App& run = *app.add_subcommand(
      "run", "Run a command on a temporary host, then report its changes and operations");
  const auto arguments = std::make_shared<RunArguments>();
  run.add_option("--scenario", arguments->scenario,
                 "Start with this scenario instead of the default one")
      ->type_name("FILE");
  run.add_option("--fail", arguments->faults,
                 "Inject a fault into a call of an operation, see below. May be repeated")
      ->type_name("OPERATION:OCCURRENCE=MODE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check([](const std::string& text) {
        try {
          ParseFaultSpecification(text);
        } catch (const std::invalid_argument& failure) {
          return std::string(failure.what());
        }
        return std::string();
      });
  run.add_option("--report", arguments->report,
                 "Write the report to this file instead of standard error")
      ->type_name("FILE");
  run.add_option("--html", arguments->html, "Also write the report to this file, as an HTML page")
      ->type_name("FILE");
  run.add_flag("--json", arguments->asJson, "Write the report as one JSON object");
  run.add_flag("--secrets", arguments->secrets, "Include changed keys, DEKs and passwords");
  // Only described here. main extracts the words: CLI11 would split words such as "[a,b]".
  run.add_option("COMMAND", "The command and its arguments, optionally after --");
  run.footer(
      "The command finds the host through QUELT_HOST_STATE. The host is removed afterwards.\n"
      "SIGTERM and SIGHUP are forwarded to the command; the report is still written.\n"
      "If quelt-host is killed, the command and all processes that it started are killed too.\n"
      "The exit status is the command's, or 128 plus the signal's number if a signal ended it;\n"
      "127 if the command does not exist, 126 if it cannot be executed. Options of quelt-host\n"
      "precede the command; all words after the command's name are passed to it.\n\n"
      "--fail: OCCURRENCE is the number of the call, from 1; without :OCCURRENCE, the fault "
      "applies\n"
      "to all calls. The modes:\n" +
      FaultModeLines() +
      "\n\nExamples:\n  quelt-host run --scenario two-keks.json python3 unlock.py disk-1 kek-2\n"
      "  quelt-host run --fail ShallowRekeyDisks:1=throw -- python3 unlock.py disk-1 kek-2");
  run.callback([&app, arguments, &command] {
    if (app.count("--state") > 0) {
      throw CLI::ValidationError("--state", "run creates a temporary host");
    }
    if (command.empty()) {
      throw CLI::RequiredError("COMMAND");
    }
    if (const int status = RunOnFreshHost(*arguments, command); status != 0) {
      throw CLI::RuntimeError(status);
    }
  });
}

}  // namespace quelt
