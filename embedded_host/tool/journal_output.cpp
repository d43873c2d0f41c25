#include "embedded_host/tool/journal_output.h"

#include <ctime>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace quelt {

using nlohmann::ordered_json;

namespace {

/// Formats a time (microseconds since 1970) with strftime and appends the microseconds.
std::string TimeText(std::int64_t microseconds, const char* format, bool utc) {
  const std::time_t seconds = microseconds / 1'000'000;
  std::tm parts{};
  utc ? gmtime_r(&seconds, &parts) : localtime_r(&seconds, &parts);
  std::ostringstream text;
  text << std::put_time(&parts, format) << '.' << std::setw(6) << std::setfill('0')
       << microseconds % 1'000'000;
  return text.str();
}

}  // namespace

std::string ArgumentsLine(const std::string& arguments) {
  const ordered_json object = ordered_json::parse(arguments);
  std::string line;
  for (const auto& [name, value] : object.items()) {
    line += (line.empty() ? "" : ", ") + name + "=" +
            (value.is_string() ? value.get<std::string>() : value.dump());
  }
  return line;
}

ordered_json RecordJson(const JournalRecord& record) {
  return {{"number", record.number},
          {"time", TimeText(record.time, "%Y-%m-%dT%H:%M:%S", true) + "Z"},
          {"process", record.process},
          {"thread", record.thread},
          {"operation", record.operation},
          {"arguments", ordered_json::parse(record.arguments)},
          {"outcome", record.outcome},
          {"message", record.message},
          {"duration", static_cast<double>(record.duration) / 1e6}};
}

JournalTable::JournalTable()
    : table_({">NO", "TIME", ">PROCESS", ">DURATION", "OPERATION", "ARGUMENTS", "OUTCOME"}) {}

void JournalTable::Add(const JournalRecord& record) {
  const std::string message = record.message.empty() ? "" : ": " + Printable(record.message);
  table_.Add({std::to_string(record.number), TimeText(record.time, "%H:%M:%S", false),
              std::to_string(record.process), SecondsText(record.duration), record.operation,
              Printable(ArgumentsLine(record.arguments)), record.outcome + message});
}

void PrintJournal(const std::vector<JournalRecord>& records, std::ostream& out,
                  const Style& style) {
  JournalTable table;
  for (const JournalRecord& record : records) {
    table.Add(record);
  }
  table.Print(out, style);
}

}  // namespace quelt
