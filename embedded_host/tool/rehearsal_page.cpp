#include "embedded_host/tool/rehearsal_page.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

#include "embedded_host/tool/html.h"
#include "embedded_host/tool/journal_output.h"
#include "embedded_host/tool/json_text.h"
#include "embedded_host/tool/rehearsal_verdict.h"

namespace quelt {

using nlohmann::ordered_json;

namespace {

/// What each verdict means, in the order of kVerdictNames.
constexpr std::array<std::string_view, kVerdictNames.size()> kMeanings = {
    "failure reported, host as before",
    "success reported, host as after a run without faults",
    "failure reported, host as after a run without faults",
    "failure reported, host in neither state",
    "success reported, but the host is not as after a run without faults",
    "not ended within the time limit",
    "ended by a signal of its own",
};

std::string Text(const ordered_json& value) { return value.get<std::string>(); }

std::string Joined(const ordered_json& texts, const char* separator) {
  std::string joined;
  for (const ordered_json& text : texts) {
    joined += (joined.empty() ? "" : separator) + Text(text);
  }
  return joined;
}

std::string CodeList(const ordered_json& texts) {
  std::string html;
  for (const ordered_json& text : texts) {
    html += (html.empty() ? "" : ", ") + HtmlCode(Text(text));
  }
  return html;
}

std::string StepName(const ordered_json& step) {
  const ordered_json& occurrence = step.at("occurrence");
  return Text(step.at("operation")) + (occurrence.is_null() ? "" : ":" + occurrence.dump());
}

std::string VerdictHtml(const std::string& verdict) {
  return HtmlOutcome(!IsFinding(verdict), verdict);
}

/// The id of a finding's article.
std::string FindingId(std::size_t run) { return "run-" + std::to_string(run + 1); }

/// "30 s"
std::string DurationText(double seconds) {
  std::ostringstream text;
  text << seconds << " s";
  return text.str();
}

std::string EndText(const ordered_json& run) {
  if (!run.at("signal").is_null()) {
    return "signal " + run.at("signal").dump();
  }
  return run.at("status").is_null() ? "none" : "exit status " + run.at("status").dump();
}

/// How a run ended: for the details of a cell and for a finding.
HtmlList RunList(const ordered_json& run) {
  HtmlList list;
  list.Add("End of the command", HtmlText(EndText(run)));
  if (!run.at("retryVerdict").is_null()) {
    list.Add("First run", VerdictHtml(Text(run.at("firstVerdict"))));
    list.Add("Run again without faults", VerdictHtml(Text(run.at("retryVerdict"))));
  }
  for (const auto& [name, member] : {std::pair("Last line of output", "output"),
                                     std::pair("Of the second run", "retryOutput")}) {
    if (run.at(member).is_string() && !Text(run.at(member)).empty()) {
      list.Add(name, HtmlCode(Text(run.at(member))));
    }
  }
  list.Add("Reproduce", HtmlCode(Text(run.at("reproduce"))));
  return list;
}

std::string CellHtml(std::size_t index, const ordered_json& run) {
  const std::string verdict = Text(run.at("verdict"));
  const bool retried = verdict != Text(run.at("firstVerdict"));
  const std::string second =
      run.at("faults").size() > 1
          ? " <small>then " + HtmlCode(Text(run.at("faults").back())) + "</small>"
          : "";
  const std::string link =
      IsFinding(verdict) ? "<p><a href=\"#" + FindingId(index) + "\">What it left behind</a></p>"
                         : "";
  return "<details><summary>" + VerdictHtml(verdict) +
         (retried ? " <small>(after a retry)</small>" : "") + second + "</summary>" +
         RunList(run).html() + link + "</details>";
}

std::string MatrixHtml(const ordered_json& report) {
  std::map<std::pair<std::size_t, std::string>, HtmlTable::Cell> cells;
  const ordered_json& runs = report.at("runs");
  for (std::size_t i = 0; i < runs.size(); ++i) {
    HtmlTable::Cell& cell =
        cells[{runs[i].at("step").get<std::size_t>(), Text(runs[i].at("mode"))}];
    cell.html += CellHtml(i, runs[i]);
    const bool finding = cell.cssClass == "bad" || IsFinding(Text(runs[i].at("verdict")));
    cell.cssClass = finding ? "bad" : "good";
  }
  std::vector<std::string> headings = {"Step"};
  for (const ordered_json& mode : report.at("modes")) {
    headings.push_back(Text(mode));
  }
  HtmlTable table("Verdicts by step and mode of failure; each can be expanded", headings);
  const ordered_json& steps = report.at("steps");
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const std::string arguments = ArgumentsLine(steps[i].at("arguments").dump());
    std::vector<HtmlTable::Cell> row = {
        {HtmlName(StepName(steps[i])) +
             (arguments.empty() ? "" : "<br><small>" + HtmlCode(arguments) + "</small>"),
         ""}};
    for (const ordered_json& mode : report.at("modes")) {
      const auto cell = cells.find({i, Text(mode)});
      row.push_back(cell == cells.end() ? HtmlTable::Cell{"not run", ""} : cell->second);
    }
    table.AddCells(row);
  }
  return table.html();
}

std::string VerdictsHtml(const ordered_json& report) {
  HtmlTable table("Runs by verdict", {"Verdict", ">Runs", "Meaning"});
  for (std::size_t i = 0; i < kVerdictNames.size(); ++i) {
    const std::string name(kVerdictNames[i]);
    table.Add({VerdictHtml(name), report.at("verdicts").value(name, ordered_json(0)).dump(),
               HtmlText(kMeanings[i])});
  }
  return table.html();
}

std::string ValueHtml(const ordered_json& place, const char* name) {
  return place.contains(name) ? HtmlCode(JsonText(place.at(name))) : "none";
}

std::string FindingHtml(std::size_t index, const ordered_json& run) {
  const std::string verdict = Text(run.at("verdict"));
  const std::string faults = Joined(run.at("faults"), ", then ");
  std::string html = "<article aria-labelledby=\"" + FindingId(index) + "\">\n<h3 id=\"" +
                     FindingId(index) + "\">" + VerdictHtml(verdict) + ": " + HtmlCode(faults) +
                     "</h3>\n" + RunList(run).html();
  if (!run.at("places").empty()) {
    HtmlTable table("What differs after " + faults, {"Place", "Before", "After success", "Found"});
    for (const ordered_json& place : run.at("places")) {
      table.Add({HtmlCode(Text(place.at("place"))), ValueHtml(place, "before"),
                 ValueHtml(place, "after"), ValueHtml(place, "found")});
    }
    html += table.html();
  }
  return html + "</article>\n";
}

std::string FindingsHtml(const ordered_json& report) {
  std::string html;
  const ordered_json& runs = report.at("runs");
  for (std::size_t i = 0; i < runs.size(); ++i) {
    if (IsFinding(Text(runs[i].at("verdict")))) {
      html += FindingHtml(i, runs[i]);
    }
  }
  return html.empty() ? "<p>No findings.</p>\n" : html;
}

std::string NotesHtml(const ordered_json& report) {
  std::string html = "<ul>\n<li>Only the host&#39;s state and the exit status were judged.</li>\n";
  const auto add = [&](const std::string& note) { html += "<li>" + note + "</li>\n"; };
  if (!report.at("repeatable").get<bool>()) {
    add("Several threads or processes perform operations. So the number of a call differs from run "
        "to run, and each fault applies to all calls of its operation.");
  }
  if (report.at("comparedByForm").get<bool>()) {
    add("Generated UUIDs, times and random values were compared by their form.");
  }
  add("Not run: the operation has no such answer, or the rehearsal was interrupted.");
  if (!report.at("comparedByBytes").empty()) {
    add("Compared by their bytes, because no KEK unwraps them: " +
        CodeList(report.at("comparedByBytes")));
  }
  if (!report.at("ignored").empty()) {
    add("Not compared: " + CodeList(report.at("ignored")));
  }
  return html + "</ul>\n";
}

}  // namespace

std::string RehearsalPage(const ordered_json& report) {
  const std::string command = Joined(report.at("command"), " ");
  const auto findings = report.at("findings").get<std::size_t>();
  HtmlList summary;
  summary.Add("Findings", HtmlOutcome(findings == 0, std::to_string(findings)));
  summary.Add("Steps", std::to_string(report.at("steps").size()));
  summary.Add("Runs", std::to_string(report.at("runs").size()) +
                          (report.at("interrupted").get<bool>()
                               ? " (the rehearsal was interrupted; more were planned)"
                               : ""));
  summary.Add("Scenario", report.at("scenario").is_null() ? "the default scenario"
                                                          : HtmlCode(Text(report.at("scenario"))));
  summary.Add("Time limit of a run", DurationText(report.at("timeLimit").get<double>()));
  return HtmlPage("Rehearsal of " + command, "Rehearsal of " + HtmlCode(command), summary.html(),
                  {{"verdicts", "Verdicts", VerdictsHtml(report)},
                   {"steps", "Steps", MatrixHtml(report)},
                   {"findings", "Findings", FindingsHtml(report)},
                   {"notes", "Notes", NotesHtml(report)}});
}

}  // namespace quelt
