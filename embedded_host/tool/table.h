// What the tool prints for people: tables with aligned columns, sizes, colours.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace quelt {

/// Text around which a terminal's attributes are put; as it is where there is no terminal.
class Style {
 public:
  /// For standard output (1) or standard error (2): plain unless it is a terminal, and with
  /// NO_COLOR (no-color.org).
  explicit Style(int descriptor);

  std::string Bold(const std::string& text) const { return With("1", text); }
  std::string Red(const std::string& text) const { return With("31", text); }
  std::string Green(const std::string& text) const { return With("32", text); }
  std::string Yellow(const std::string& text) const { return With("33", text); }

 private:
  std::string With(const char* attribute, const std::string& text) const;
  bool plain_;
};

/// Text for one line of a terminal: control characters, U+0080 to U+009F too, are escaped.
std::string Printable(std::string_view text);

/// The text with `prefix` and two hexadecimal digits for each DEL and U+0080 to U+009F.
std::string EscapeControls(std::string text, std::string_view prefix);

/// Bytes as people read them: "1.5 GiB".
std::string SizeText(std::int64_t bytes);

/// Whole seconds and fractions, from microseconds.
std::string SecondsText(std::int64_t microseconds);

/// Rows under a heading. A heading that begins with ">" stands above numbers, aligned to the right.
class Table {
 public:
  explicit Table(std::vector<std::string> headings) : headings_(std::move(headings)) {}
  void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  void Print(std::ostream& out, const Style& style) const;

 private:
  std::vector<std::string> headings_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace quelt
