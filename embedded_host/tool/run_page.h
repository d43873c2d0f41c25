// The report of `run` as an HTML page.
#pragma once

#include <string>
#include <vector>

#include "embedded_host/operation/journal.h"
#include "embedded_host/tool/differences.h"

namespace quelt {

struct RunReport {
  std::vector<std::string> command;
  std::string scenario;  ///< a file; "": the default scenario
  int status = 0;        ///< the exit status that a shell would report
  std::vector<Difference> differences;
  std::vector<JournalRecord> records;  ///< without those that are not reported
};

/// The changes, and a timeline of the operations of each process.
std::string RunPage(const RunReport& report);

}  // namespace quelt
