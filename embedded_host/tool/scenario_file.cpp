#include "embedded_host/tool/scenario_file.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iostream>
#include <optional>

#include "embedded_host/document/parse.h"
#include "embedded_host/document/section.h"
#include "embedded_host/operation/switches.h"
#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/failure.h"
#include "embedded_host/store/schema.h"
#include "embedded_host/store/state_file.h"
#include "embedded_host/tool/table.h"

namespace quelt {

namespace {

/// Reports the rows that a connection stores to a Progress.
class RowCounter {
 public:
  RowCounter(Connection& db, Progress& progress)
      : handle_(db.database().getHandle()), progress_(progress) {
    constexpr int kSteps = 1'000'000;  // SQLite instructions, which take tens of milliseconds
    sqlite3_progress_handler(handle_, kSteps, Count, this);
  }
  RowCounter(const RowCounter&) = delete;
  RowCounter& operator=(const RowCounter&) = delete;
  ~RowCounter() { sqlite3_progress_handler(handle_, 0, nullptr, nullptr); }

 private:
  static int Count(void* counter) {
    const auto& self = *static_cast<RowCounter*>(counter);
    self.progress_.SetRows(sqlite3_total_changes(self.handle_));
    return 0;
  }

  sqlite3* const handle_;
  Progress& progress_;
};

void ReportMissingSecrets(const ScenarioFile& scenario, Progress& progress) {
  std::string places;
  for (const std::string& place : MissingSecrets(scenario.document)) {
    places += (places.empty() ? "" : ", ") + place;
  }
  if (!places.empty()) {
    progress.PrintLine(
        Printable("quelt-host: " + scenario.name + ": dumped without secrets; missing: " + places));
  }
}

}  // namespace

ScenarioFile ReadScenarioFile(const std::string& file) {
  const bool isStandardInput = file == "-";
  std::ifstream opened;
  if (!isStandardInput) {
    opened.open(file, std::ios::binary);
    if (!opened) {
      ThrowSystemFailure(file, errno);
    }
  }
  const std::string name = isStandardInput ? "standard input" : file;
  std::optional<Progress> progress;
  if (!isStandardInput || isatty(STDIN_FILENO) == 0) {
    progress.emplace("Reading the scenario");
  }
  try {
    return {name, ParseDocument(isStandardInput ? std::cin : opened)};
  } catch (const ScenarioError& failure) {
    throw ScenarioError(name + ": " + failure.what());
  } catch (const std::ios_base::failure&) {  // opening a folder succeeds, reading it fails
    ThrowSystemFailure(name, errno);
  }
}

void LoadScenarioFile(ScenarioFile scenario, Progress& progress) {
  progress.Begin("Loading the scenario");
  try {
    ChangeSwitches([&](Connection& db) {
      const RowCounter counter(db, progress);
      ClearTables(db);
      LoadScenario(db, scenario.document);
    });
  } catch (const ScenarioError& failure) {
    throw ScenarioError(scenario.name + ": " + failure.what());
  }
  Store::Instance().Read(EmptyLog);
  ReportMissingSecrets(scenario, progress);
}

}  // namespace quelt
