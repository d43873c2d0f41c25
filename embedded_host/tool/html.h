// HTML pages for reports.
//
// A page is one file without scripts, links to other files or style attributes. Its content
// security policy permits nothing but its own style sheet, so that even a text that were not
// escaped could not run or load anything. Functions take plain texts, except for parameters named
// `html`.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quelt {

/// Escapes a text for use as content or as a quoted attribute. Control characters, and characters
/// that change the direction of other text, are shown as escapes, and invalid UTF-8 as U+FFFD.
std::string HtmlText(std::string_view text);

/// A text in a fixed-width font, with its escapes marked, isolated from the direction of the text
/// around it.
std::string HtmlCode(std::string_view text);

/// A short name in a fixed-width font, on one line.
std::string HtmlName(std::string_view name);

/// `label` with a symbol before it, in the colour of a success or failure.
std::string HtmlOutcome(bool good, std::string_view label);

/// Pairs of a name and its value.
class HtmlList {
 public:
  void Add(std::string_view name, const std::string& html);
  std::string html() const { return "<dl>" + items_ + "</dl>\n"; }

 private:
  std::string items_;
};

/// A table with headings. A heading that begins with ">" aligns its column to the right. The first
/// cell of a row is the row's heading.
class HtmlTable {
 public:
  HtmlTable(std::string_view caption, const std::vector<std::string>& headings);
  void Add(const std::vector<std::string>& htmlCells);
  /// Cells can have a class: the second member.
  struct Cell {
    std::string html;
    std::string cssClass;
  };
  void AddCells(const std::vector<Cell>& cells);
  std::string html() const;

 private:
  std::string caption_;
  std::string head_;
  std::string rows_;
  std::vector<bool> right_;
};

struct HtmlSection {
  std::string id;
  std::string heading;
  std::string html;
};

/// A complete page: heading and summary, a table of contents, the sections.
std::string HtmlPage(std::string_view title, const std::string& headingHtml,
                     const std::string& summaryHtml, const std::vector<HtmlSection>& sections);

}  // namespace quelt
