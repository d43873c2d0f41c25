// rehearse: fails each operation of a command once, on copies of a host.
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "embedded_host/tool/commands.h"
#include "embedded_host/tool/json_text.h"
#include "embedded_host/tool/operation_argument.h"
#include "embedded_host/tool/page_file.h"
#include "embedded_host/tool/rehearsal.h"
#include "embedded_host/tool/rehearsal_page.h"
#include "embedded_host/tool/rehearsal_report.h"
#include "embedded_host/tool/state_comparison.h"

namespace quelt {

namespace {

constexpr int kFindings = 1;
constexpr int kNotRehearsed = 2;
constexpr double kMaxTimeLimitSeconds = 86400;

struct RehearseArguments {
  RehearsalSettings settings;
  std::vector<std::string> modes = {"throw", "refuse", "throw-after", "kill", "kill-after"};
  std::size_t jobs = 0;  ///< 0: one for each processor
  double timeLimit = 30;
  std::string html;
  bool asJson = false;
};

std::size_t ProcessorCount() {
  cpu_set_t processors{};
  return sched_getaffinity(0, sizeof processors, &processors) == 0
             ? static_cast<std::size_t>(CPU_COUNT(&processors))
             : 1;
}

/// A check for an option: the text of the exception that `parse` throws.
template <typename Parse>
auto Parses(Parse parse) {
  return [parse](const std::string& text) {
    try {
      parse(text);
      return std::string();
    } catch (const std::invalid_argument& failure) {
      return std::string(failure.what());
    }
  };
}

/// The number of finished runs, on one line of standard error if that is a terminal.
class RunCounter {
 public:
  RunCounter() : shown_(isatty(STDERR_FILENO) != 0) {}
  RunCounter(const RunCounter&) = delete;
  RunCounter& operator=(const RunCounter&) = delete;
  ~RunCounter() {
    if (shown_) {
      std::cerr << "\r\x1b[K" << std::flush;
    }
  }
  void Show(std::size_t done, std::size_t planned) const {
    if (shown_) {
      std::cerr << "\r\x1b[KRehearsing: " + std::to_string(done) + " of " +
                       std::to_string(planned) + " runs"
                << std::flush;
    }
  }

 private:
  const bool shown_;
};

/// Also writes the page, if there is one.
RehearsalResult RunRehearsal(const RehearsalSettings& settings, const std::string& html) {
  try {
    const PageFile page(html);
    ScenarioFile scenario;
    if (!settings.scenario.empty()) {
      scenario = ReadScenarioFile(settings.scenario);
    }
    RehearsalResult result = [&] {
      const RunCounter counter;
      return Rehearse(settings, std::move(scenario),
                      [&](std::size_t done, std::size_t planned) { counter.Show(done, planned); });
    }();
    if (page.wanted()) {
      page.Write(RehearsalPage(result.report));
    }
    return result;
  } catch (const RehearsalFailure& failure) {
    std::cerr << failure.output()
              << (failure.output().empty() || failure.output().ends_with('\n') ? "" : "\n");
    throw StatusFailure(kNotRehearsed, failure.what());
  } catch (const std::exception& failure) {
    throw StatusFailure(kNotRehearsed, failure.what());
  }
}

/// Returns the exit status.
int RehearseAndReport(RehearseArguments arguments, const std::vector<std::string>& command) {
  RehearsalSettings& settings = arguments.settings;
  settings.command = command;
  for (const std::string& mode : arguments.modes) {
    if (const FaultMode parsed = ParseFaultMode(mode);
        std::find(settings.modes.begin(), settings.modes.end(), parsed) == settings.modes.end()) {
      settings.modes.push_back(parsed);
    }
  }
  settings.parallel = arguments.jobs == 0 ? ProcessorCount() : arguments.jobs;
  settings.timeLimit = std::chrono::milliseconds(std::llround(arguments.timeLimit * 1000));
  const RehearsalResult result = RunRehearsal(settings, arguments.html);
  if (arguments.asJson) {
    std::cout << JsonText(result.report, 2) << '\n';
  } else {
    PrintRehearsal(result.report, std::cout, Style(STDOUT_FILENO));
  }
  if (!std::cout.flush()) {
    throw StatusFailure(kNotRehearsed, "Standard output could not be written");
  }
  if (result.signal != 0) {
    return 128 + result.signal;
  }
  return result.report.at("findings") == 0 ? 0 : kFindings;
}

void AddOptions(CLI::App& app, RehearseArguments& arguments) {
  RehearsalSettings& settings = arguments.settings;
  app.add_option("--scenario", settings.scenario,
                 "Start each run with this scenario instead of the default one")
      ->type_name("FILE");
  app.add_option(
         "--modes", arguments.modes,
         "How operations fail, see below (default: throw,refuse,throw-after,kill,kill-after)")
      ->type_name("LIST")
      ->delimiter(',')
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(Parses(ParseFaultMode));
  app.add_option("--only", settings.only, "Fail only this operation. May be repeated")
      ->type_name("OPERATION")
      ->delimiter(',')
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(OperationName());
  app.add_flag(
      "--undo", settings.undo,
      "Also fail each later operation of each run, one at a time: this tests the rollback");
  app.add_flag("--retry", settings.retry,
               "After a failure, run the command again without faults; its verdict counts");
  app.add_option("--ignore", settings.ignored,
                 "Exclude a place from the comparison: a JSON pointer, * for any key. May be "
                 "repeated")
      ->type_name("PLACE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(Parses(ParseIgnoredPlace));
  app.add_option("--jobs", arguments.jobs, "Run N at a time (default: one for each processor)")
      ->type_name("N")
      ->check(CLI::Range(1, 1024));
  app.add_option("--timeout", arguments.timeLimit, "The time limit of each run (default: 30)")
      ->type_name("SECONDS")
      ->check([](const std::string& text) {
        double seconds = -1;
        const bool read = CLI::detail::lexical_cast(text, seconds);
        return read && seconds >= 0.001 && seconds <= kMaxTimeLimitSeconds
                   ? std::string()
                   : "Expected 0.001 to 86400 seconds, not \"" + text + "\"";
      });
  app.add_option("--html", arguments.html, "Also write the report to this file, as an HTML page")
      ->type_name("FILE");
  app.add_flag("--json", arguments.asJson, "Print the report as one JSON object");
}

}  // namespace

void AddRehearseCommand(CLI::App& app, const std::vector<std::string>& command) {
  CLI::App& rehearse = *app.add_subcommand(
      "rehearse",
      "Fail each operation of a command once, and report what each failure leaves "
      "behind");
  const auto arguments = std::make_shared<RehearseArguments>();
  AddOptions(rehearse, *arguments);
  // Only described here, as for run.
  rehearse.add_option("COMMAND", "The command and its arguments, optionally after --");
  rehearse.footer(
      "Runs the command twice without a fault, then once for each operation and mode, each time "
      "on\n"
      "a host of its own. Judged are only the host's state and the exit status:\n"
      "  clean      failure reported, host as before\n"
      "  completed  success reported, host as after a run without faults\n"
      "  late       failure reported, host as after a run without faults\n"
      "  half done  failure reported, host in neither state\n"
      "  hidden     success reported, but the host is not as after a run without faults\n"
      "  hung       not ended within the time limit\n"
      "  crashed    ended by a signal of its own\n"
      "After kill and kill-after, the command is run again, and the verdict is on that run.\n\n"
      "Modes: what an operation does instead of working\n" +
      FaultModeLines() +
      "\n\nThe exit status is 0 if all runs are clean, completed or late, 1 if not, 2 if the "
      "command\n"
      "can't be rehearsed, for example because it fails without a fault, or 128 plus the number "
      "of\n"
      "a signal that interrupted the rehearsal.\n\n"
      "Example:\n  quelt-host rehearse --scenario two-keks.json python3 unlock.py disk-1 kek-2");
  rehearse.callback([&app, arguments, &command] {
    if (app.count("--state") > 0) {
      throw CLI::ValidationError("--state", "rehearse creates temporary hosts");
    }
    if (command.empty()) {
      throw CLI::RequiredError("COMMAND");
    }
    if (const int status = RehearseAndReport(*arguments, command); status != 0) {
      throw CLI::RuntimeError(status);
    }
  });
}

}  // namespace quelt
