#include "embedded_host/tool/run_page.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "embedded_host/tool/html.h"
#include "embedded_host/tool/journal_output.h"
#include "embedded_host/tool/json_text.h"
#include "embedded_host/tool/table.h"

namespace quelt {

namespace {

/// A browser needs seconds for more rows.
constexpr std::size_t kMaxOperations = 10'000;

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

std::string ValueCode(const nlohmann::json& value) { return HtmlCode(JsonText(value)); }

std::string ChangesHtml(const std::vector<Difference>& differences) {
  if (differences.empty()) {
    return "<p>The command changed nothing.</p>\n";
  }
  HtmlTable table("Values that the command changed", {"Place", "Change", "Before", "After"});
  for (const auto& [kind, place, before, after] : differences) {
    const bool added = kind == Difference::Kind::kAdded;
    const bool removed = kind == Difference::Kind::kRemoved;
    table.Add({HtmlCode(place),
               added     ? "+&nbsp;added"
               : removed ? "\xE2\x88\x92&nbsp;removed"
                         : "~&nbsp;changed",
               added ? "" : ValueCode(before), removed ? "" : ValueCode(after)});
  }
  return table.html();
}

bool Succeeded(const JournalRecord& record) {
  return record.outcome == "answered" && record.message.empty();
}

/// A period of time, in microseconds since 1970.
struct Period {
  std::int64_t begin;
  std::int64_t end;
};

Period PeriodOf(const std::vector<JournalRecord>& records) {
  Period period{records.front().time, records.front().time + 1};
  for (const JournalRecord& record : records) {
    period.begin = std::min(period.begin, record.time);
    period.end = std::max(period.end, record.time + record.duration);
  }
  return period;
}

/// A bar that shows when the operation ran. The table contains its times as numbers.
std::string BarHtml(const JournalRecord& record, const Period& run) {
  constexpr double kWidth = 1000;
  constexpr double kLeast = 4;  // a shorter bar could not be seen
  const double scale = kWidth / static_cast<double>(run.end - run.begin);
  const double width = std::max(static_cast<double>(record.duration) * scale, kLeast);
  const double begin =
      std::min(static_cast<double>(record.time - run.begin) * scale, kWidth - width);
  return "<svg viewBox=\"0 0 1000 10\" preserveAspectRatio=\"none\" aria-hidden=\"true\"><rect "
         "x=\"" +
         std::to_string(std::lround(begin)) + "\" width=\"" + std::to_string(std::lround(width)) +
         "\" height=\"10\"" + (Succeeded(record) ? "" : " class=\"failed\"") + "/></svg>";
}

std::string OutcomeHtml(const JournalRecord& record) {
  return HtmlOutcome(Succeeded(record), record.outcome) +
         (record.message.empty() ? "" : ": " + HtmlCode(record.message));
}

std::string TimelineHtml(std::vector<JournalRecord> records) {
  if (records.empty()) {
    return "<p>It called no operation.</p>\n";
  }
  std::string html =
      "<p>Fetching the plug-in is not shown. Times are seconds since the first "
      "operation.</p>\n";
  if (records.size() > kMaxOperations) {
    html += "<p>These are the first " + std::to_string(kMaxOperations) + " of " +
            std::to_string(records.size()) + " operations; the option --json prints all.</p>\n";
    records.resize(kMaxOperations);
  }
  const Period run = PeriodOf(records);
  std::map<std::int64_t, std::vector<JournalRecord>> processes;
  std::vector<std::int64_t> order;
  for (const JournalRecord& record : records) {
    if (processes[record.process].empty()) {
      order.push_back(record.process);
    }
    processes[record.process].push_back(record);
  }
  for (const std::int64_t process : order) {
    const std::vector<JournalRecord>& own = processes[process];
    const auto failed = std::count_if(own.begin(), own.end(),
                                      [](const auto& record) { return !Succeeded(record); });
    HtmlTable table(
        std::to_string(own.size()) + (own.size() == 1 ? " operation" : " operations") +
            " of process " + std::to_string(process) + ", " + std::to_string(failed) +
            " without success",
        {"Operation", ">Number", ">Start", ">Duration", "Timeline", "Arguments", "Outcome"});
    for (const JournalRecord& record : own) {
      table.Add({HtmlName(record.operation), std::to_string(record.number),
                 SecondsText(record.time - run.begin), SecondsText(record.duration),
                 BarHtml(record, run), HtmlCode(ArgumentsLine(record.arguments)),
                 OutcomeHtml(record)});
    }
    html += "<h3>Process " + std::to_string(process) + "</h3>\n" + table.html();
  }
  return html;
}

}  // namespace

std::string RunPage(const RunReport& report) {
  const std::string command = Joined(report.command);
  HtmlList summary;
  summary.Add("Exit status", HtmlOutcome(report.status == 0, std::to_string(report.status)));
  summary.Add("Scenario",
              report.scenario.empty() ? "the default scenario" : HtmlCode(report.scenario));
  summary.Add("Changes", std::to_string(report.differences.size()));
  summary.Add("Operations", std::to_string(report.records.size()));
  return HtmlPage("Run of " + command, "Run of " + HtmlCode(command), summary.html(),
                  {{"changes", "Changes", ChangesHtml(report.differences)},
                   {"operations", "Operations", TimelineHtml(report.records)}});
}

}  // namespace quelt
