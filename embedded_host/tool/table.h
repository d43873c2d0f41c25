// Formats output for people: tables with aligned columns, sizes, colours.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace quelt {

/// Adds terminal attributes to texts; leaves them unchanged if the output is not a terminal.
class Style {
 public:
  /// For standard output (1) or standard error (2). The environment variable NO_COLOR disables
  /// attributes (no-color.org).
  explicit Style(int descriptor);

  std::string Bold(const std::string& text) const { return With("1", text); }
  std::string Red(const std::string& text) const { return With("31", text); }
  std::string Green(const std::string& text) const { return With("32", text); }
  std::string Yellow(const std::string& text) const { return With("33", text); }

 private:
  std::string With(const char* attribute, const std::string& text) const;
  bool plain_;
};

/// Escapes control characters, including U+0080 to U+009F, to print the text on one line.
std::string Printable(std::string_view text);

/// Replaces each DEL and U+0080 to U+009F with `prefix` and two hexadecimal digits.
std::string EscapeControls(std::string text, std::string_view prefix);

/// A number of bytes with a unit, for example "1.5 GiB".
std::string SizeText(std::int64_t bytes);

/// Converts microseconds to a text in seconds, for example "0.000125 s".
std::string SecondsText(std::int64_t microseconds);

/// Rows below headings. A heading that begins with ">" aligns its column to the right. Rows can be
/// added and printed several times; columns only get wider.
class Table {
 public:
  explicit Table(const std::vector<std::string>& headings);
  void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  /// Prints the rows that were added since the previous call; the first call prints the headings.
  void Print(std::ostream& out, const Style& style);

 private:
  struct Column {
    std::string heading;
    bool right;
    std::size_t width;
  };
  std::string Line(const std::vector<std::string>& cells) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
  bool begun_ = false;  ///< the headings are printed
};

}  // namespace quelt
