#include "embedded_host/tool/rehearsal_report.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "embedded_host/tool/json_text.h"
#include "embedded_host/tool/rehearsal_verdict.h"

namespace quelt {

using nlohmann::ordered_json;

namespace {

std::string Text(const ordered_json& value) { return value.get<std::string>(); }

std::string StepText(const ordered_json& step) {
  const ordered_json& occurrence = step.at("occurrence");
  return Text(step.at("operation")) + (occurrence.is_null() ? "" : ":" + occurrence.dump());
}

std::string Joined(const ordered_json& texts, const char* separator) {
  std::string joined;
  for (const ordered_json& text : texts) {
    joined += (joined.empty() ? "" : separator) + Text(text);
  }
  return joined;
}

std::string Number(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

/// "clean 12, completed 3": the verdicts that occur, in their fixed order.
std::string CountsText(const std::map<std::string, int>& counts) {
  std::string text;
  for (const std::string_view name : kVerdictNames) {
    if (const auto found = counts.find(std::string(name)); found != counts.end()) {
      text += (text.empty() ? "" : ", ") + found->first + " " + std::to_string(found->second);
    }
  }
  return text;
}

/// True if only the retry led to the verdict. After a kill there always is one: not worth a mark.
bool IsRepaired(const ordered_json& run) {
  return run.at("verdict") != run.at("firstVerdict") && !Text(run.at("mode")).starts_with("kill");
}

/// What a cell of the table shows: the verdict of the run with one fault; with --undo also the
/// verdicts of those with a second one.
class Cell {
 public:
  void Add(const ordered_json& run) {
    const std::string verdict = Text(run.at("verdict"));
    if (run.at("faults").size() > 1) {
      ++second_[verdict];
      return;
    }
    single_ = verdict + (IsRepaired(run) ? "*" : "");
  }
  std::string text() const {
    return (single_.empty() ? "-" : single_) +
           (second_.empty() ? "" : " (" + CountsText(second_) + ")");
  }

 private:
  std::string single_;
  std::map<std::string, int> second_;
};

void PrintTable(const ordered_json& report, std::ostream& out, const Style& style) {
  std::map<std::pair<std::size_t, std::string>, Cell> cells;
  for (const ordered_json& run : report.at("runs")) {
    cells[{run.at("step").get<std::size_t>(), Text(run.at("mode"))}].Add(run);
  }
  std::vector<std::string> headings = {"STEP"};
  for (const ordered_json& mode : report.at("modes")) {
    headings.push_back(Text(mode));
  }
  Table table(headings);
  for (std::size_t i = 0; i < report.at("steps").size(); ++i) {
    std::vector<std::string> row = {StepText(report.at("steps")[i])};
    for (const ordered_json& mode : report.at("modes")) {
      const auto cell = cells.find({i, Text(mode)});
      row.push_back(cell == cells.end() ? "-" : cell->second.text());
    }
    table.Add(row);
  }
  table.Print(out, style);
}

std::string ValueText(const ordered_json& place, const char* name) {
  constexpr std::size_t kMaxBytes = 60;
  if (!place.contains(name)) {
    return "-";
  }
  const std::string text = Printable(JsonText(place.at(name)));
  return text.size() <= kMaxBytes ? text : text.substr(0, kMaxBytes) + "...";
}

void PrintFinding(const ordered_json& run, std::ostream& out, const Style& style) {
  out << '\n'
      << style.Red(Text(run.at("verdict"))) << ": "
      << style.Bold(Joined(run.at("faults"), ", then ")) << '\n';
  if (!run.at("retryVerdict").is_null()) {
    out << "The first run was " << Text(run.at("firstVerdict")) << ", the retry "
        << Text(run.at("retryVerdict")) << ".\n";
  }
  if (!run.at("places").empty()) {
    Table table({"PLACE", "BEFORE", "AFTER SUCCESS", "FOUND"});
    for (const ordered_json& place : run.at("places")) {
      table.Add({Printable(Text(place.at("place"))), ValueText(place, "before"),
                 ValueText(place, "after"), ValueText(place, "found")});
    }
    table.Print(out, style);
  }
  for (const char* const output : {"output", "retryOutput"}) {
    if (run.at(output).is_string() && !Text(run.at(output)).empty()) {
      out << (std::string(output) == "output" ? "Last line of output: " : "Of the retry: ")
          << Printable(Text(run.at(output))) << '\n';
    }
  }
  out << "Reproduce: " << Printable(Text(run.at("reproduce"))) << '\n';
}

void PrintNotes(const ordered_json& report, std::ostream& out) {
  if (!report.at("repeatable").get<bool>()) {
    out << "Several threads or processes perform operations. So the number of a call differs from "
           "run to run,\nand each fault applies to all calls of its operation.\n";
    if (report.at("undo").get<bool>()) {
      out << "--undo has no effect for that reason.\n";
    }
  }
  if (report.at("undo").get<bool>() && report.at("repeatable").get<bool>()) {
    out << "In parentheses: the runs in which a later operation failed as well.\n";
  }
  const auto& runs = report.at("runs");
  if (std::any_of(runs.begin(), runs.end(), IsRepaired)) {
    out << "* after the command was run again without faults, as always after a kill\n";
  }
  if (report.at("comparedByForm").get<bool>()) {
    out << "Generated UUIDs, times and random values were compared by their form.\n";
  }
  if (!report.at("comparedByBytes").empty()) {
    out << "Compared by their bytes, because no KEK unwraps them: "
        << Printable(Joined(report.at("comparedByBytes"), ", ")) << ".\n";
  }
  if (!report.at("ignored").empty()) {
    out << "Not compared (--ignore): " << Printable(Joined(report.at("ignored"), ", ")) << ".\n";
  }
  out << "Only the host's state and the exit status were judged.\n";
}

}  // namespace

void PrintRehearsal(const ordered_json& report, std::ostream& out, const Style& style) {
  std::map<std::string, int> counts;
  for (const auto& [verdict, count] : report.at("verdicts").items()) {
    if (count != 0) {
      counts[verdict] = count.get<int>();
    }
  }
  if (!report.at("steps").empty()) {
    PrintTable(report, out, style);
    out << '\n';
  }
  const std::size_t runs = report.at("runs").size();
  const auto findings = report.at("findings").get<std::size_t>();
  out << style.Bold(Number(report.at("steps").size(), "step") + ", " + Number(runs, "run") +
                    (counts.empty() ? "" : ": " + CountsText(counts)))
      << '\n';
  PrintNotes(report, out);
  for (const ordered_json& run : report.at("runs")) {
    if (IsFinding(Text(run.at("verdict")))) {
      PrintFinding(run, out, style);
    }
  }
  if (report.at("interrupted").get<bool>()) {
    out << '\n'
        << style.Bold("Interrupted: " + std::to_string(runs) + " of at least " +
                      Number(report.at("planned").get<std::size_t>(), "run"))
        << '\n';
  }
  out << '\n'
      << (findings == 0 ? style.Green("No findings") : style.Red(Number(findings, "finding")))
      << '\n';
}

}  // namespace quelt
