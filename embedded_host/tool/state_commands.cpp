// init and reset: create the state or restore the default.
#include <iostream>

#include "embedded_host/operation/switches.h"
#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/creation.h"
#include "embedded_host/store/failure.h"
#include "embedded_host/store/schema.h"
#include "embedded_host/store/state_file.h"
#include "embedded_host/tool/commands.h"
#include "embedded_host/tool/progress.h"

namespace quelt {

namespace {

void Init() {
  Store store = Store::Instance();
  store.Read([](Connection&) {});
  std::cout << store.path() << '\n';
}

void LoadDefault() {
  const Progress progress("Loading the default scenario");
  ChangeSwitches([](Connection& db) {
    ClearTables(db);
    LoadScenario(db, DefaultScenario());
  });
  Store::Instance().Read(EmptyLog);
}

void Reset() {
  try {
    LoadDefault();
  } catch (const DamagedState&) {
    RemoveState(ConnectionPool().place());
    LoadDefault();
    std::cerr << "The damaged state was replaced with a new one.\n";
  }
}

}  // namespace

void AddStateCommands(CLI::App& app) {
  app.add_subcommand("init", "Create the host's state unless it exists, and print its path")
      ->footer("Example:\n  quelt-host init --state /tmp/host.db")
      ->callback(Init);
  app.add_subcommand("reset", "Restore the default scenario and remove all faults")
      ->footer("Example:\n  quelt-host reset")
      ->callback(Reset);
}

}  // namespace quelt
