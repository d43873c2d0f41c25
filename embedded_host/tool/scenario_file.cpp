#include "embedded_host/tool/scenario_file.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iostream>

#include "embedded_host/scenario/document.h"
#include "embedded_host/scenario/scenario.h"
#include "embedded_host/store/failure.h"
#include "embedded_host/store/schema.h"
#include "embedded_host/store/state_file.h"
#include "embedded_host/store/switches.h"
#include "embedded_host/tool/table.h"

namespace quelt {

namespace {

/// A line that counts the rows while they are stored, on a terminal alone.
class ProgressLine {
 public:
  explicit ProgressLine(Connection& db) : handle_(db.database().getHandle()) {
    constexpr int kSteps = 1'000'000;  // of SQLite's machine: some tens of milliseconds
    if (isatty(STDERR_FILENO) != 0) {
      sqlite3_progress_handler(handle_, kSteps, Show, this);
    }
  }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine() {
    sqlite3_progress_handler(handle_, 0, nullptr, nullptr);
    if (shown_) {
      std::cerr << "\r\x1b[K";
    }
  }

 private:
  static int Show(void* line) {
    auto& self = *static_cast<ProgressLine*>(line);
    self.shown_ = true;
    std::cerr << "\rLoading: " << sqlite3_total_changes(self.handle_) << " rows";
    return 0;
  }

  sqlite3* const handle_;
  bool shown_ = false;
};

void ReportMissingSecrets(const ScenarioFile& scenario) {
  std::string places;
  for (const std::string& place : MissingSecrets(scenario.document)) {
    places += (places.empty() ? "" : ", ") + place;
  }
  if (!places.empty()) {
    std::cerr << Printable("quelt-host: " + scenario.name +
                           ": dumped without secrets; missing: " + places)
              << '\n';
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
  try {
    return {name, ParseDocument(isStandardInput ? std::cin : opened)};
  } catch (const ScenarioError& failure) {
    throw ScenarioError(name + ": " + failure.what());
  } catch (const std::ios_base::failure&) {  // a folder opens too
    ThrowSystemFailure(name, errno);
  }
}

void LoadScenarioFile(const ScenarioFile& scenario) {
  try {
    ChangeSwitches([&](Connection& db) {
      const ProgressLine progress(db);
      ClearTables(db);
      LoadScenario(db, scenario.document);
    });
  } catch (const ScenarioError& failure) {
    throw ScenarioError(scenario.name + ": " + failure.what());
  }
  Store::Instance().Read(EmptyLog);
  ReportMissingSecrets(scenario);
}

}  // namespace quelt
