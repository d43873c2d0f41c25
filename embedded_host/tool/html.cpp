#include "embedded_host/tool/html.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>

#include "page_style.inc"

namespace quelt {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct Character {
  std::uint32_t code = 0;
  std::size_t bytes = 0;  ///< 0: the text is not valid UTF-8 here
};

/// Decodes the first character of a text that is not empty.
Character Decode(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const std::size_t length = byte(0) < 0x80                      ? 1
                             : byte(0) >= 0xC2 && byte(0) < 0xE0 ? 2
                             : byte(0) >= 0xE0 && byte(0) < 0xF0 ? 3
                             : byte(0) >= 0xF0 && byte(0) < 0xF5 ? 4
                                                                 : 0;
  if (length == 0 || length > text.size()) {
    return {};
  }
  constexpr std::array<unsigned, 5> kFirstBits = {0, 0x7F, 0x1F, 0x0F, 0x07};
  std::uint32_t code = byte(0) & kFirstBits[length];
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) {
      return {};
    }
    code = code << 6 | (byte(i) & 0x3F);
  }
  constexpr std::array<std::uint32_t, 5> kLeast = {0, 0, 0x80, 0x800, 0x10000};
  const bool is_surrogate = code >= 0xD800 && code < 0xE000;
  return code < kLeast[length] || code > 0x10FFFF || is_surrogate ? Character{}
                                                                  : Character{code, length};
}

bool ChangesDirection(std::uint32_t code) {
  return code == 0x061C || code == 0x200E || code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

/// "\n", "\x1b" or "\u202e".
std::string Escape(std::uint32_t code) {
  if (code == '\n') {
    return "\\n";
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string digits;
  for (int shift = code < 0x100 ? 4 : 12; shift >= 0; shift -= 4) {
    digits += kDigits[code >> shift & 15];
  }
  return (code < 0x100 ? "\\x" : "\\u") + digits;
}

std::string_view Entity(std::uint32_t code) {
  switch (code) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return "";
  }
}

/// `before` and `after` are HTML around each escape.
std::string Escaped(std::string_view text, std::string_view before, std::string_view after) {
  std::string html;
  while (!text.empty()) {
    const auto [code, bytes] = Decode(text);
    const bool is_control = code < 0x20 || (code >= 0x7F && code < 0xA0);
    if (bytes == 0) {
      html += kReplacement;
    } else if (is_control || ChangesDirection(code)) {
      html.append(before).append(Escape(code)).append(after);
    } else {
      const std::string_view entity = Entity(code);
      html += entity.empty() ? text.substr(0, bytes) : entity;
    }
    text.remove_prefix(std::max<std::size_t>(bytes, 1));
  }
  return html;
}

/// The style sheet's hash, as content security policies write it.
std::string StyleHash() {
  std::array<unsigned char, 32> hash;
  std::array<unsigned char, 45> text;  // with the terminating NUL
  if (EVP_Digest(kPageStyle, sizeof kPageStyle - 1, hash.data(), nullptr, EVP_sha256(), nullptr) !=
      1) {
    throw std::runtime_error("The hash of the style sheet could not be computed");
  }
  EVP_EncodeBlock(text.data(), hash.data(), hash.size());
  return "sha256-" + std::string(text.begin(), text.end() - 1);
}

std::string Classed(std::string_view tag, std::string_view name) {
  return name.empty() ? "<" + std::string(tag) + ">"
                      : "<" + std::string(tag) + " class=\"" + std::string(name) + "\">";
}

}  // namespace

std::string HtmlText(std::string_view text) { return Escaped(text, "", ""); }

std::string HtmlCode(std::string_view text) {
  return "<code><bdi>" + Escaped(text, "<span class=\"escape\">", "</span>") + "</bdi></code>";
}

std::string HtmlName(std::string_view name) {
  return "<code class=\"name\">" + HtmlText(name) + "</code>";
}

std::string HtmlOutcome(bool good, std::string_view label) {
  return Classed("span", good ? "good" : "bad") + "<span aria-hidden=\"true\">" +
         (good ? "\xE2\x9C\x93" : "\xE2\x9C\x97") + "</span> " + HtmlText(label) + "</span>";
}

void HtmlList::Add(std::string_view name, const std::string& html) {
  items_ += "<dt>" + HtmlText(name) + "</dt><dd>" + html + "</dd>\n";
}

HtmlTable::HtmlTable(std::string_view caption, const std::vector<std::string>& headings)
    : caption_(caption) {
  for (const std::string& heading : headings) {
    right_.push_back(heading.starts_with('>'));
    head_ += std::string("<th scope=\"col\"") + (right_.back() ? " class=\"number\"" : "") + ">" +
             HtmlText(std::string_view(heading).substr(right_.back() ? 1 : 0)) + "</th>";
  }
}

void HtmlTable::Add(const std::vector<std::string>& htmlCells) {
  std::vector<Cell> cells;
  for (std::size_t i = 0; i < htmlCells.size(); ++i) {
    cells.push_back({htmlCells[i], right_[i] ? "number" : ""});
  }
  AddCells(cells);
}

void HtmlTable::AddCells(const std::vector<Cell>& cells) {
  rows_ += "<tr>";
  for (const Cell& cell : cells) {
    const bool is_heading = &cell == &cells.front();
    rows_ += Classed(is_heading ? "th scope=\"row\"" : "td", cell.cssClass) + cell.html +
             (is_heading ? "</th>" : "</td>");
  }
  rows_ += "</tr>\n";
}

std::string HtmlTable::html() const {
  const std::string caption = HtmlText(caption_);
  // A region that scrolls must be reachable by keyboard and needs a name.
  return "<div class=\"scroll\" role=\"region\" tabindex=\"0\" aria-label=\"" + caption +
         "\"><table>\n<caption>" + caption + "</caption>\n<thead><tr>" + head_ +
         "</tr></thead>\n<tbody>\n" + rows_ + "</tbody></table></div>\n";
}

std::string HtmlPage(std::string_view title, const std::string& headingHtml,
                     const std::string& summaryHtml, const std::vector<HtmlSection>& sections) {
  std::string contents;
  std::string main;
  for (const HtmlSection& section : sections) {
    contents += "<li><a href=\"#" + section.id + "\">" + HtmlText(section.heading) + "</a></li>\n";
    main += "<section aria-labelledby=\"" + section.id + "\">\n<h2 id=\"" + section.id + "\">" +
            HtmlText(section.heading) + "</h2>\n" + section.html + "</section>\n";
  }
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src '" +
         StyleHash() +
         "'; base-uri 'none'; form-action 'none'\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<meta name=\"color-scheme\" content=\"light dark\">\n<title>" +
         HtmlText(title) + "</title>\n<style>" + kPageStyle +
         "</style>\n</head>\n<body>\n<a class=\"skip\" href=\"#main\">Skip to the results</a>\n"
         "<header>\n<h1>" +
         headingHtml + "</h1>\n" + summaryHtml + "</header>\n<nav aria-label=\"Contents\"><ul>\n" +
         contents + "</ul></nav>\n<main id=\"main\">\n" + main +
         "</main>\n<footer>Written by quelt-host " PYQUELT_VERSION "</footer>\n</body>\n</html>\n";
}

}  // namespace quelt
