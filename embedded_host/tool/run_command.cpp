// run: a command on a fresh host of its own, and what it did there.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
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
#include "embedded_host/tool/host_snapshot.h"
#include "embedded_host/tool/journal_output.h"
#include "embedded_host/tool/json_text.h"
#include "embedded_host/tool/progress.h"
#include "embedded_host/tool/scenario_file.h"
#include "embedded_host/tool/temporary_host.h"

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

/// What a report is written to. Opened before the command starts, so that no run is wasted; an
/// earlier report is replaced only by the new one.
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
    static_cast<void>(ftruncate(file_.get(), 0));  // fails for what is no ordinary file
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

void Report(const RunArguments& arguments, ReportStream& stream, int status,
            const HostSnapshot& before) {
  const std::vector<Difference> differences = [&] {
    const Progress progress("Comparing the host with its state before");
    return before.FindChanges(arguments.secrets);
  }();
  const std::vector<JournalRecord> records = ReadJournal();
  stream.Write([&](std::ostream& out, const Style& style) {
    if (arguments.asJson) {
      out << JsonText(ReportJson(status, differences, records), 2) << '\n';
    } else {
      PrintReport(differences, records, out, style);
    }
  });
}

/// Returns the exit status that shells give to a command. Throws StatusFailure for one that could
/// not be started.
int ExitStatus(const std::string& command, const CommandOutcome& outcome) {
  constexpr int kNotFound = 127;
  constexpr int kNotExecutable = 126;
  if (outcome.error == 0) {
    return WIFSIGNALED(outcome.status) ? 128 + WTERMSIG(outcome.status)
                                       : WEXITSTATUS(outcome.status);
  }
  const bool is_path = command.find('/') != std::string::npos;
  if (outcome.error == ENOENT && is_path && access(command.c_str(), F_OK) == 0) {
    throw StatusFailure(kNotExecutable, command + ": the interpreter that it names doesn't exist");
  }
  const std::string reason = outcome.error == ENOENT && !is_path
                                 ? "command not found"
                                 : std::generic_category().message(outcome.error);
  throw StatusFailure(
      outcome.error == ENOENT || outcome.error == ENOTDIR ? kNotFound : kNotExecutable,
      (command.empty() ? "\"\"" : command) + ": " + reason);
}

/// Creates the host from this scenario, or from the default one, and starts its journal.
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

/// Returns the command's exit status.
int RunOnFreshHost(const RunArguments& arguments, const std::vector<std::string>& command) {
  ScenarioFile scenario;
  if (!arguments.scenario.empty()) {
    scenario = ReadScenarioFile(arguments.scenario);  // may wait for a writer: signals end that
  }
  ReportStream report(arguments.report);
  const CommandProcess process;  // outlives the host: no signal may keep that from being removed
  const TemporaryHost host;
  setenv("QUELT_HOST_STATE", (host.folder() + "/host.db").c_str(), 1);
  const HostSnapshot before = PrepareHost(host.folder(), std::exchange(scenario, {}));
  const int status = ExitStatus(command.front(), process.Run(command));
  Report(arguments, report, status, before);
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
  // Described here, taken by main: the library would split words like "[a,b]".
  run.add_option("COMMAND", "The command and its arguments; -- may stand before them");
  run.footer(
      "The host is made for this and removed afterwards; QUELT_HOST_STATE names it to the "
      "command.\n"
      "SIGTERM and SIGHUP are passed on to the command; then follows the report, as usual.\n"
      "If quelt-host itself is killed, so are the command and all processes that it started.\n"
      "The exit status is the command's, 128 and the signal's number if a signal ended it; 127\n"
      "if there is no such command, 126 if it can't be executed. Options for quelt-host stand\n"
      "before the command, all words after its name are its own.\n\n"
      "Example:\n  quelt-host run --scenario two-keks.json python3 unlock.py disk-1 kek-2");
  run.callback([&app, arguments, &command] {
    if (app.count("--state") > 0) {
      throw CLI::ValidationError("--state", "run makes a host of its own");
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
