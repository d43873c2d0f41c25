// journal start, stop, show, clear.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "embedded_host/operation/journal.h"
#include "embedded_host/operation/switches.h"
#include "embedded_host/tool/commands.h"
#include "embedded_host/tool/journal_output.h"
#include "embedded_host/tool/json_text.h"
#include "embedded_host/tool/operation_argument.h"

namespace quelt {

namespace {

/// The arguments of `show`.
struct ShowArguments {
  std::vector<std::string> operations;
  bool failed = false;
  std::int64_t since = 0;
  bool follow = false;
  bool asJson = false;
};

/// A failure is an exception, or the answer false, null or a status.
bool Failed(const JournalRecord& record) {
  return record.outcome != "answered" || !record.message.empty();
}

bool IsSelected(const JournalRecord& record, const ShowArguments& arguments) {
  const std::vector<std::string>& names = arguments.operations;
  return (names.empty() || std::count(names.begin(), names.end(), record.operation) > 0) &&
         (!arguments.failed || Failed(record));
}

/// Waits for more records. Returns false if standard output has lost its reader.
bool WaitForRecords() {
  constexpr int kMilliseconds = 100;
  pollfd reader = {STDOUT_FILENO, 0, 0};
  return poll(&reader, 1, kMilliseconds) == 0;
}

/// Prints the records as they are read, until `next` returns false.
/// Returns false if it printed none.
bool PrintRecords(const ShowArguments& arguments, const std::function<bool()>& next) {
  const Style style(STDOUT_FILENO);
  JournalTable table;
  JournalReader reader(arguments.since);
  bool printed = false;
  do {
    bool selected = false;
    for (const JournalRecord& record : reader.ReadNew()) {
      if (!IsSelected(record, arguments)) {
        continue;
      }
      selected = true;
      if (arguments.asJson) {
        std::cout << JsonText(RecordJson(record)) << '\n';
      } else {
        table.Add(record);
      }
    }
    if (selected && !arguments.asJson) {
      table.Print(std::cout, style);
    }
    printed = printed || selected;
  } while (std::cout.flush() && next());
  return printed;
}

void Show(const ShowArguments& arguments) {
  const bool on = CurrentSwitches().journal;
  if (arguments.follow) {
    if (!on) {
      std::cerr << "quelt-host: the journal is off; quelt-host journal start switches it on\n";
    }
    PrintRecords(arguments, WaitForRecords);
  } else if (!PrintRecords(arguments, [] { return false; }) && !arguments.asJson) {
    const bool all = arguments.operations.empty() && !arguments.failed && arguments.since == 0;
    std::cout << (all ? "Nothing" : "No such operation") << " is recorded; the journal is "
              << (on ? "on.\n" : "off.\n");
  }
}

void AddShow(CLI::App& journal) {
  CLI::App& show =
      *journal.add_subcommand("show", "Print the records of the given operations, or all records");
  const auto arguments = std::make_shared<ShowArguments>();
  show.add_option("OPERATION", arguments->operations, "Names of operations")
      ->check(OperationName());
  show.add_flag("--failed", arguments->failed,
                "Print only operations that threw, or answered with false, null or a status");
  show.add_option("--since", arguments->since, "Print only records after number N")
      ->type_name("N")
      ->check([](const std::string& text) {
        std::int64_t number = -1;
        return CLI::detail::lexical_cast(text, number) && number >= 0
                   ? std::string()
                   : "Expected the number of a record, not \"" + text + "\"";
      });
  show.add_flag("--follow", arguments->follow, "Continue with new records, until interrupted");
  show.add_flag("--json", arguments->asJson, "Print one JSON object per line");
  show.footer(
      "Examples:\n"
      "  quelt-host journal show --json | grep '\"outcome\":\"threw\"'\n"
      "  quelt-host journal show --failed --follow");
  show.callback([arguments] { Show(*arguments); });
}

}  // namespace

void AddJournalCommands(CLI::App& app) {
  CLI::App& journal =
      *app.add_subcommand("journal", "Record the platform operations that scripts call");
  journal.require_subcommand(1);
  journal.footer(
      "Each record has a number, time, process, operation, arguments, outcome and duration\n"
      "(seconds). Keys, DEKs and passwords are replaced with their lengths. The journal keeps the\n"
      "newest " +
      std::to_string(kMaxJournalRecords) + " records and truncates texts to " +
      std::to_string(kMaxJournalTextBytes) +
      " bytes. It does not record\n"
      "queries of feature flags: listing agents queries them twice per agent.\n\n"
      "Example:\n  quelt-host journal start && python3 script.py; quelt-host journal show");
  journal.add_subcommand("start", "Start recording, in all processes of the host")
      ->footer("Example:\n  quelt-host journal start")
      ->callback([] { SwitchJournal(true); });
  journal.add_subcommand("stop", "Stop recording; existing records remain")
      ->footer("Example:\n  quelt-host journal stop")
      ->callback([] { SwitchJournal(false); });
  AddShow(journal);
  journal.add_subcommand("clear", "Delete all records")
      ->footer("Example:\n  quelt-host journal clear")
      ->callback(ClearJournal);
}

}  // namespace quelt
