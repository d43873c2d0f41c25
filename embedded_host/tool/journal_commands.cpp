// journal start, stop, show, clear.
#include <unistd.h>

#include <iostream>
#include <memory>

#include "embedded_host/journal.h"
#include "embedded_host/store/switches.h"
#include "embedded_host/tool/commands.h"
#include "embedded_host/tool/journal_output.h"
#include "embedded_host/tool/json_text.h"

namespace quelt {

namespace {

using nlohmann::ordered_json;

void Show(bool asJson) {
  const std::vector<JournalRecord> records = ReadJournal();
  if (asJson) {
    for (const JournalRecord& record : records) {
      std::cout << JsonText(RecordJson(record)) << '\n';
    }
  } else if (!records.empty()) {
    PrintJournal(records, std::cout, Style(STDOUT_FILENO));
  } else {
    std::cout << "Nothing is recorded; the journal is "
              << (CurrentSwitches().journal ? "on.\n" : "off.\n");
  }
}

}  // namespace

void AddJournalCommands(CLI::App& app) {
  CLI::App& journal = *app.add_subcommand("journal", "Record which operations scripts cause");
  journal.require_subcommand(1);
  journal.footer(
      "A record holds number, time, process, operation, arguments, outcome and duration "
      "(seconds).\n"
      "Keys, DEKs and passwords appear as their length. The newest " +
      std::to_string(kMostJournalRecords) + " records are kept; texts are\ncut at " +
      std::to_string(kLongestJournalText) +
      " bytes. Feature flags are not recorded: a listing asks for them twice an agent.\n\n"
      "Example:\n  quelt-host journal start && python3 script.py; quelt-host journal show");
  journal.add_subcommand("start", "Record from now on, in all processes of the host")
      ->footer("Example:\n  quelt-host journal start")
      ->callback([] { SwitchJournal(true); });
  journal.add_subcommand("stop", "Record no longer; what is recorded stays")
      ->footer("Example:\n  quelt-host journal stop")
      ->callback([] { SwitchJournal(false); });
  CLI::App& show = *journal.add_subcommand("show", "Print the records");
  const auto asJson = std::make_shared<bool>(false);
  show.add_flag("--json", *asJson, "As JSON, one record a line");
  show.footer("Example:\n  quelt-host journal show --json | grep '\"outcome\":\"threw\"'");
  show.callback([asJson] { Show(*asJson); });
  journal.add_subcommand("clear", "Forget the records")
      ->footer("Example:\n  quelt-host journal clear")
      ->callback(ClearJournal);
}

}  // namespace quelt
