// run: a command on a fresh host of its own, and what it did there.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/store.h"
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
      throw std::runtime_error(path_ + ": " + std::generic_category().message(errno));
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

/// While this stands, the keyboard's signals end the command and not us.
class SignalsToCommand {
 public:
  SignalsToCommand()
      : interrupt_(std::signal(SIGINT, SIG_IGN)), quit_(std::signal(SIGQUIT, SIG_IGN)) {}
  SignalsToCommand(const SignalsToCommand&) = delete;
  SignalsToCommand& operator=(const SignalsToCommand&) = delete;
  ~SignalsToCommand() {
    static_cast<void>(std::signal(SIGINT, interrupt_));
    static_cast<void>(std::signal(SIGQUIT, quit_));
  }

  /// The command itself starts with the signals as they were.
  static pid_t Start(char* const* command) {
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGINT);
    sigaddset(&usual, SIGQUIT);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t process = 0;
    const int error = posix_spawnp(&process, command[0], nullptr, &attributes, command, environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
      throw std::runtime_error(std::string(command[0]) + ": " +
                               std::generic_category().message(error));
    }
    return process;
  }

 private:
  using Handler = void (*)(int);
  const Handler interrupt_;
  const Handler quit_;
};

/// The command's exit status as a shell gives it.
int RunToItsEnd(std::vector<std::string>& command) {
  std::vector<char*> words(command.size() + 1, nullptr);
  std::transform(command.begin(), command.end(), words.begin(),
                 [](std::string& word) { return word.data(); });
  const SignalsToCommand signals;
  const pid_t process = SignalsToCommand::Start(words.data());
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

HostDump DumpHost(bool withSecrets) {
  HostDump dump;
  Store::Instance().Snapshot([&](Connection& db) {
    dump = {DumpScenario(db, true), DumpScenario(db, withSecrets)};
  });
  // A dump needs wrapped DEKs to load back; a list of changes does not.
  if (const auto disks = dump.shown.find("disks"); !withSecrets && disks != dump.shown.end()) {
    for (json& disk : *disks) {
      for (const char* const secret : {"wrapped", "aws"}) {
        if (disk.contains(secret)) {
          disk[secret] = "(secret)";
        }
      }
    }
  }
  return dump;
}

/// Every call fetches the plug-in and its operations object first; that this went well says
/// nothing.
bool IsWorthTelling(const JournalRecord& record) {
  return record.outcome != "answered" ||
         (record.operation != "GetQueltPlugin" && record.operation != "GetHostSystem");
}

std::string Text(const json& value) {
  return Printable(value.dump(-1, ' ', false, json::error_handler_t::replace));
}

void PrintReport(const std::vector<Difference>& differences,
                 const std::vector<JournalRecord>& records, std::ostream& out, const Style& style) {
  out << style.Bold(differences.empty() ? "The command changed nothing."
                                        : "What the command changed:")
      << '\n';
  for (const auto& [kind, place, before, after] : differences) {
    switch (kind) {
      case Difference::Kind::kAdded:
        out << style.Green("+ " + Printable(place)) << "  " << Text(after) << '\n';
        break;
      case Difference::Kind::kRemoved:
        out << style.Red("- " + Printable(place)) << "  " << Text(before) << '\n';
        break;
      case Difference::Kind::kChanged:
        out << style.Yellow("~ " + Printable(place)) << "  " << Text(before) << " -> "
            << Text(after) << '\n';
        break;
    }
  }
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
    throw std::runtime_error(arguments.report + ": the report could not be written");
  }
}

/// Gives the command's exit status.
int RunOnFreshHost(const RunArguments& arguments, std::vector<std::string> command) {
  const TemporaryFolder folder;
  setenv("QUELT_HOST_STATE", (folder.path() + "/host.db").c_str(), 1);
  if (!arguments.scenario.empty()) {
    LoadScenarioFile(arguments.scenario);
  }
  const HostDump before = DumpHost(arguments.secrets);
  SwitchJournal(true);
  const int status = RunToItsEnd(command);
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
      "The exit status is the command's, 128 and the signal's number if a signal ended it.\n\n"
      "Example:\n  quelt-host run --scenario three-disks.json -- python3 rotate_kek.py kek-2");
  run.callback([arguments, &command] {
    if (command.empty()) {
      throw CLI::RequiredError("-- with a command after it");
    }
    if (const int status = RunOnFreshHost(*arguments, command); status != 0) {
      throw CLI::RuntimeError(status);
    }
  });
}

}  // namespace quelt
