// Formats journal records as JSON and as a table.
#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "embedded_host/operation/journal.h"
#include "embedded_host/tool/table.h"

namespace quelt {

/// A record with its arguments as an object, its time as text and its duration in seconds.
nlohmann::ordered_json RecordJson(const JournalRecord& record);

/// The arguments of a record on one line: "id=kek-1, flag=true". Not escaped.
std::string ArgumentsLine(const std::string& arguments);

/// A table of records.
class JournalTable {
 public:
  JournalTable();
  void Add(const JournalRecord& record);
  /// Prints the records that were added since the previous call.
  void Print(std::ostream& out, const Style& style) { table_.Print(out, style); }

 private:
  Table table_;
};

void PrintJournal(const std::vector<JournalRecord>& records, std::ostream& out, const Style& style);

}  // namespace quelt
