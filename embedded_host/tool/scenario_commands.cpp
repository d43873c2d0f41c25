// load and dump: the host as one JSON document.
#include <iostream>
#include <memory>
#include <string>

#include "embedded_host/document/section.h"
#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/store.h"
#include "embedded_host/tool/commands.h"
#include "embedded_host/tool/json_text.h"
#include "embedded_host/tool/scenario_file.h"

namespace quelt {

namespace {

using nlohmann::json;

void Dump(bool withSecrets) {
  const json document = [&] {
    const Progress progress("Reading the host");
    return Store::Instance().Snapshot(
        [&](Connection& db) { return DumpScenario(db, withSecrets); });
  }();
  std::cout << JsonText(document, 2) << '\n';
  if (!MissingSecrets(document).empty()) {
    std::cerr << "Keys, DEKs and passwords are left out; with --secrets they are printed too.\n";
  }
}

}  // namespace

void AddScenarioCommands(CLI::App& app) {
  CLI::App& load = *app.add_subcommand(
      "load", "Replace the host's whole state by a scenario; change nothing if it is refused");
  load.footer(
      "Faults end, and the journal is empty and off afterwards.\n\n"
      "Example:\n  quelt-host load three-disks.json");
  load.add_option_function<std::string>(
          "FILE",
          [](const std::string& file) {
            ScenarioFile scenario = ReadScenarioFile(file);
            Progress progress("Opening the host");
            LoadScenarioFile(std::move(scenario), progress);
          },
          "The scenario, a JSON document (-: standard input)")
      ->required();

  CLI::App& dump = *app.add_subcommand("dump", "Print the host's state as a scenario");
  const auto withSecrets = std::make_shared<bool>(false);
  dump.add_flag("--secrets", *withSecrets,
                "With keys, DEKs and passwords: what is printed loads back to the same state");
  dump.footer("Example:\n  quelt-host dump --secrets > host.json");
  dump.callback([withSecrets] { Dump(*withSecrets); });
}

}  // namespace quelt
