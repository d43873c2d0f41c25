// journal start, stop, show, clear.
#include <unistd.h>

#include <algorithm>
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

using nlohmann::ordered_json;

/// Prints the records of these operations; without operations, all records.
void Show(const std::vector<std::string>& operations, bool asJson) {
  std::vector<JournalRecord> records = ReadJournal();
  std::erase_if(records, [&](const JournalRecord& record) {
    return !operations.empty() &&
           std::count(operations.begin(), operations.end(), record.operation) == 0;
  });
  if (asJson) {
    for (const JournalRecord& record : records) {
      std::cout << JsonText(RecordJson(record)) << '\n';
    }
  } else if (!records.empty()) {
    PrintJournal(records, std::cout, Style(STDOUT_FILENO));
  } else {
    std::cout << (operations.empty() ? "Nothing" : "No such operation")
              << " is recorded; the journal is "
              << (CurrentSwitches().journal ? "on.\n" : "off.\n");
  }
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
  CLI::App& show =
      *journal.add_subcommand("show", "Print the records of the given operations, or all records");
  const auto operations = std::make_shared<std::vector<std::string>>();
  show.add_option("OPERATION", *operations, "Names of operations")->check(OperationName());
  const auto asJson = std::make_shared<bool>(false);
  show.add_flag("--json", *asJson, "Print one JSON object per line");
  show.footer("Example:\n  quelt-host journal show --json | grep '\"outcome\":\"threw\"'");
  show.callback([operations, asJson] { Show(*operations, *asJson); });
  journal.add_subcommand("clear", "Delete all records")
      ->footer("Example:\n  quelt-host journal clear")
      ->callback(ClearJournal);
}

}  // namespace quelt
