#include "embedded_host/tool/table.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <utility>

namespace quelt {

namespace {

/// The number of terminal columns of a UTF-8 text, one per character.
std::size_t Width(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

std::string Fixed(double number, int digits) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << number;
  return text.str();
}

std::string HexDigits(char byte) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const auto value = static_cast<unsigned char>(byte);
  return {kDigits[value >> 4], kDigits[value & 15]};
}

}  // namespace

Style::Style(int descriptor) {
  const char* const no_color = std::getenv("NO_COLOR");
  plain_ = isatty(descriptor) == 0 || (no_color != nullptr && *no_color != '\0');
}

std::string Style::With(const char* attribute, const std::string& text) const {
  return plain_ ? text : "\x1b[" + std::string(attribute) + "m" + text + "\x1b[0m";
}

std::string Printable(std::string_view text) {
  std::string printable;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    printable += c == '\n' ? "\\n" : byte < 0x20 ? "\\x" + HexDigits(c) : std::string(1, c);
  }
  return EscapeControls(std::move(printable), "\\x");
}

std::string EscapeControls(std::string text, std::string_view prefix) {
  const auto is_two_bytes = [&](std::size_t i) {  // U+0080 to U+009F in UTF-8
    return text[i] == '\xC2' && i + 1 < text.size() && (text[i + 1] & '\xE0') == '\x80';
  };
  for (std::size_t i = text.find_first_of("\x7F\xC2"); i != std::string::npos;
       i = text.find_first_of("\x7F\xC2", i + 1)) {
    const std::size_t length = is_two_bytes(i) ? 2 : text[i] == '\x7F' ? 1 : 0;
    if (length > 0) {
      text.replace(i, length, std::string(prefix) + HexDigits(text[i + length - 1]));
    }
  }
  return text;
}

std::string SizeText(std::int64_t bytes) {
  constexpr std::array kUnits = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  auto size = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (size >= 1024 && unit + 1 < kUnits.size()) {
    size /= 1024;
    ++unit;
  }
  return Fixed(size, unit == 0 ? 0 : 1) + " " + kUnits[unit];
}

std::string SecondsText(std::int64_t microseconds) {
  return Fixed(static_cast<double>(microseconds) / 1e6, 6) + " s";
}

Table::Table(const std::vector<std::string>& headings) {
  for (const std::string& heading : headings) {
    const bool right = heading.starts_with('>');
    std::string text = right ? heading.substr(1) : heading;
    const std::size_t width = Width(text);
    columns_.push_back({std::move(text), right, width});
  }
}

std::string Table::Line(const std::vector<std::string>& cells) const {
  std::string text;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::string gap(columns_[i].width - Width(cells[i]), ' ');
    text += (i == 0 ? "" : "  ") + (columns_[i].right ? gap + cells[i] : cells[i] + gap);
  }
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

void Table::Print(std::ostream& out, const Style& style) {
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      columns_[i].width = std::max(columns_[i].width, Width(row[i]));
    }
  }
  if (!std::exchange(begun_, true)) {
    std::vector<std::string> headings;
    for (const Column& column : columns_) {
      headings.push_back(column.heading);
    }
    out << style.Bold(Line(headings)) << '\n';
  }
  for (const auto& row : rows_) {
    out << Line(row) << '\n';
  }
  rows_.clear();
}

}  // namespace quelt
