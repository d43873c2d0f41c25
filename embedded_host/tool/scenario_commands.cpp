// load and dump: the host's state as one JSON document.
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
    std::cerr << "Keys, DEKs and passwords are omitted; --secrets includes them.\n";
  }
}

}  // namespace

void AddScenarioCommands(CLI::App& app) {
  CLI::App& load = *app.add_subcommand(
      "load", "Replace the host's state with a scenario; change nothing if it is invalid");
  load.footer(
      "Also removes all faults and stops and clears the journal.\n\n"
      "Example:\n  quelt-host load three-disks.json");
  load.add_option_function<std::string>(
          "FILE",
          [](const std::string& file) {
            ScenarioFile scenario = ReadScenarioFile(file);
            Progress progress("Opening the host");
            LoadScenarioFile(std::move(scenario), progress);
          },
          "The scenario, a JSON document; - for standard input")
      ->required();

  CLI::App& dump = *app.add_subcommand("dump", "Print the host's state as a scenario");
  const auto withSecrets = std::make_shared<bool>(false);
  dump.add_flag("--secrets", *withSecrets,
                "Include keys, DEKs and passwords, to restore the same state with load");
  dump.footer("Example:\n  quelt-host dump --secrets > host.json");
  dump.callback([withSecrets] { Dump(*withSecrets); });
}

}  // namespace quelt
