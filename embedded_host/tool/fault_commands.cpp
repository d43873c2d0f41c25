// fail, heal and faults: fault injection into platform operations.
#include <chrono>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "embedded_host/operation/faults.h"
#include "embedded_host/tool/commands.h"
#include "embedded_host/tool/json_text.h"
#include "embedded_host/tool/operation_argument.h"
#include "embedded_host/tool/table.h"

namespace quelt {

namespace {

using nlohmann::json;
using Milliseconds = std::chrono::milliseconds;

constexpr double kMaxDelaySeconds = 86400;

/// The arguments of `fail`.
struct FailArguments {
  std::string operation;
  Fault fault;
  double delay = 0;
  std::int64_t times = 0;
  bool refuse = false;
};

/// The kinds that an option selects; without one, --refuse, or only a delay.
constexpr std::pair<const char*, Fault::Kind> kKindOptions[] = {
    {"--throw", Fault::Kind::kThrow},
    {"--throw-after", Fault::Kind::kThrowAfter},
    {"--throw-standard", Fault::Kind::kThrowStandard},
    {"--throw-unknown", Fault::Kind::kThrowUnknown},
    {"--kill", Fault::Kind::kKill},
    {"--kill-after", Fault::Kind::kKillAfter},
};

void Fail(const CLI::App& command, FailArguments arguments) {
  Fault& fault = arguments.fault;
  fault.delay = Milliseconds(std::llround(arguments.delay * 1000));
  if (command.count("--times") > 0) {
    fault.times = arguments.times;
  }
  if (command.count("--delay") > 0 && !arguments.refuse) {
    fault.kind = Fault::Kind::kNone;
  }
  for (const auto& [option, kind] : kKindOptions) {
    if (command.count(option) > 0) {
      fault.kind = kind;
    }
  }
  SetFault(arguments.operation, fault);
}

/// Returns a check for a number of calls.
auto AtLeastCalls(std::int64_t least) {
  return [least](const std::string& text) {
    std::int64_t calls = 0;
    const bool read = CLI::detail::lexical_cast(text, calls);
    return read && calls >= least
               ? std::string()
               : "Expected " + std::to_string(least) + " or more calls, not \"" + text + "\"";
  };
}

void AddFail(CLI::App& app) {
  CLI::App& command = *app.add_subcommand("fail", "Inject a fault into a platform operation");
  const auto arguments = std::make_shared<FailArguments>();
  command.add_option("OPERATION", arguments->operation, "The operation, from the list below")
      ->required()
      ->check(OperationName());
  CLI::Option_group& how = *command.add_option_group("Kind of fault (default: --refuse)");
  how.require_option(0, 1);
  how.add_flag("--refuse", arguments->refuse,
               "Return its false, null or status answer, or throw if it has none");
  how.add_option("--throw", arguments->fault.message, "Throw the host library's exception")
      ->type_name("MESSAGE");
  how.add_option("--throw-after", arguments->fault.message,
                 "Take effect, then throw the host library's exception")
      ->type_name("MESSAGE");
  how.add_option("--throw-standard", arguments->fault.message, "Throw another standard exception")
      ->type_name("MESSAGE");
  how.add_flag("--throw-unknown")->description("Throw an object that is not a standard exception");
  how.add_flag("--kill")->description(
      "Kill the process (SIGKILL) before the operation takes effect");
  how.add_flag("--kill-after")->description("Take effect, then kill the process");
  command
      .add_option("--delay", arguments->delay,
                  "Delay the call; without a kind, it then runs normally")
      ->type_name("SECONDS")
      ->check([](const std::string& text) {
        double seconds = -1;
        const bool read = CLI::detail::lexical_cast(text, seconds);
        // NaN fails both comparisons.
        return read && seconds >= 0 && seconds <= kMaxDelaySeconds
                   ? std::string()
                   : "Expected 0 to 86400 seconds, not \"" + text + "\"";
      });
  command
      .add_option("--times", arguments->times,
                  "Affect only the next N calls (default: until healed)")
      ->type_name("N")
      ->check(AtLeastCalls(1));
  command.add_option("--after", arguments->fault.after, "Leave the first K calls unaffected")
      ->type_name("K")
      ->check(AtLeastCalls(0));
  command.footer(
      "Calls are counted in all processes of the host. A new fault replaces the previous one.\n\n"
      "Example:\n"
      "  quelt-host fail GetConfiguredKekId --throw 'iru.conf is locked' --times 2 --after 1\n\n"
      "Operations:" +
      OperationNameLines());
  command.callback([&command, arguments] { Fail(command, *arguments); });
}

void AddHeal(CLI::App& app) {
  CLI::App& command =
      *app.add_subcommand("heal", "Remove the faults of the given operations, or all faults");
  const auto operations = std::make_shared<std::vector<std::string>>();
  command.add_option("OPERATION", *operations, "Names of operations")->check(OperationName());
  command.footer("Example:\n  quelt-host heal GetConfiguredKekId");
  command.callback([operations] {
    for (const std::string& operation : *operations) {
      HealFault(operation);
    }
    if (operations->empty()) {
      HealAllFaults();
    }
  });
}

json FaultRecord(const std::string& operation, const Fault& fault) {
  json record = {{"operation", operation},
                 {"kind", KindName(fault.kind)},
                 {"delay", static_cast<double>(fault.delay.count()) / 1000},
                 {"after", fault.after},
                 {"times", nullptr}};
  if (fault.times) {
    record["times"] = *fault.times;
  }
  if (HasMessage(fault.kind)) {
    record["message"] = fault.message;
  }
  return record;
}

void PrintFault(const std::string& operation, const Fault& fault) {
  std::cout << operation << ": " << KindName(fault.kind);
  if (!fault.message.empty()) {
    std::cout << " \"" << Printable(fault.message) << '"';
  }
  if (fault.delay.count() > 0) {
    std::cout << ", " << static_cast<double>(fault.delay.count()) / 1000 << " s late";
  }
  if (fault.after > 0) {
    std::cout << ", after " << fault.after << " more";
  }
  std::cout << (fault.times ? ", " + std::to_string(*fault.times) + " times" : "") << '\n';
}

void PrintFaults(bool asJson) {
  const std::vector<NamedFault> faults = ListFaults();
  json records = json::array();
  for (const auto& [operation, fault] : faults) {
    if (asJson) {
      records.push_back(FaultRecord(operation, fault));
    } else {
      PrintFault(operation, fault);
    }
  }
  if (asJson) {
    // The message came from a command line and may be invalid UTF-8.
    std::cout << JsonText(records, 2) << '\n';
  }
}

void AddFaults(CLI::App& app) {
  CLI::App& command = *app.add_subcommand("faults", "Print the faults that are set");
  const auto asJson = std::make_shared<bool>(false);
  command.add_flag("--json", *asJson, "Print a JSON array");
  command.footer("Example:\n  quelt-host faults --json");
  command.callback([asJson] { PrintFaults(*asJson); });
}

}  // namespace

void AddFaultCommands(CLI::App& app) {
  AddFail(app);
  AddHeal(app);
  AddFaults(app);
}

}  // namespace quelt
