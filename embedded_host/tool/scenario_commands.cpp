// load and dump: the host as one JSON document.
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/schema.h"
#include "embedded_host/store/state_file.h"
#include "embedded_host/store/switches.h"
#include "embedded_host/tool/commands.h"

namespace quelt {

namespace {

nlohmann::json ReadDocument(const std::string& path) {
  std::ifstream file(path);
  if (!file) {
    throw std::runtime_error(path + ": cannot be read");
  }
  try {
    return nlohmann::json::parse(file);
  } catch (const nlohmann::json::exception& failure) {
    throw std::runtime_error(path + ": " + failure.what());
  }
}

void Load(const std::string& path) {
  const nlohmann::json document = ReadDocument(path);
  ChangeSwitches([&](Connection& db) {
    ClearTables(db);
    LoadScenario(db, document);
  });
  Store::Instance().Read(EmptyLog);
}

void Dump(bool withSecrets) {
  const nlohmann::json document =
      Store::Instance().Snapshot([&](Connection& db) { return DumpScenario(db, withSecrets); });
  std::cout << document.dump(2) << '\n';
}

}  // namespace

void AddScenarioCommands(CLI::App& app) {
  auto* const load =
      app.add_subcommand("load",
                         "Replace the host's whole state with a scenario, or change nothing")
          ->footer("Example:\n  quelt-host load scenario.json");
  load->add_option_function<std::string>("FILE", Load, "The scenario, a JSON document")->required();
  auto* const dump = app.add_subcommand("dump", "Print the host's state as a scenario")
                         ->footer("Example:\n  quelt-host dump --secrets > scenario.json");
  const auto withSecrets = std::make_shared<bool>(false);
  dump->add_flag("--secrets", *withSecrets,
                 "With keys and passwords, so that it loads to the same state");
  dump->callback([withSecrets] { Dump(*withSecrets); });
}

}  // namespace quelt
