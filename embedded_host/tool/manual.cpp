#include "embedded_host/tool/manual.h"

#include <string_view>

namespace quelt {

namespace {

/// Escapes characters that troff interprets: backslashes, minus signs, and a dot or quote at the
/// beginning of a line.
std::string Escaped(std::string_view text) {
  std::string plain;
  for (const char c : text) {
    const bool line_start = plain.empty() || plain.back() == '\n';
    if (line_start && (c == '.' || c == '\'')) {
      plain += "\\&";
    }
    plain += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
  }
  return plain;
}

std::string Usage(const CommandDescription& command) {
  std::string usage = "quelt-host";
  for (const std::string& word : command.words) {
    usage += " " + word;
  }
  for (const OptionDescription& option : command.options) {
    if (!option.positional && option.names.back() != "--help") {
      usage += " [" + option.names.back() + (option.value.empty() ? "" : " " + option.value) + "]";
    }
  }
  for (const OptionDescription& option : command.options) {
    if (option.positional) {
      const std::string name = option.names.front() + (option.repeated ? "..." : "");
      usage += name == "COMMAND" ? " -- COMMAND..."
               : option.required ? " " + name
                                 : " [" + name + "]";
    }
  }
  return usage;
}

std::string Options(const CommandDescription& command) {
  std::string text;
  for (const OptionDescription& option : command.options) {
    if (!command.words.empty() && option.names.back() == "--help") {
      continue;  // described once, at the top
    }
    std::string names;
    for (const std::string& name : option.names) {
      names += (names.empty() ? "" : ", ") + name;
    }
    text += ".TP\n.B " + Escaped(names) +
            (option.value.empty() ? "" : " " + Escaped(option.value)) + "\n" +
            Escaped(option.text) + ".\n";
  }
  return text;
}

std::string Command(const CommandDescription& command) {
  std::string text;
  if (command.commands.empty()) {
    text +=
        ".SS " + Escaped(Usage(command)) + "\n" + Escaped(command.text) + ".\n" + Options(command);
  } else {
    text += ".SS " + Escaped(Usage(command)) + " COMMAND\n" + Escaped(command.text) + ".\n";
  }
  if (!command.footer.empty()) {
    text += ".PP\n.nf\n" + Escaped(command.footer) + "\n.fi\n";
  }
  for (const CommandDescription& below : command.commands) {
    text += Command(below);
  }
  return text;
}

constexpr const char* kEnd = R"(.SH ENVIRONMENT
.TP
.B QUELT_HOST_STATE
The host's state file. The default is
.IR $XDG_STATE_HOME/quelt/host.db ,
or
.I ~/.local/state/quelt/host.db
if XDG_STATE_HOME is not set.
.TP
.B QUELT_HOST_WAIT
How many seconds a writer waits for other writers. The default is 30.
.TP
.B NO_COLOR
If this is set and not empty, output to a terminal is not coloured.
.SH EXIT STATUS
0 for success; 1 for a failure, with one line on standard error; 2 for invalid usage.
.B run
exits with the status of its command.
)";

}  // namespace

std::string ManualPage(const CommandDescription& tool) {
  std::string page = ".TH QUELT\\-HOST 1 \"\" \"pyquelt " PYQUELT_VERSION "\"\n";
  page += ".SH NAME\nquelt\\-host \\- " + Escaped(tool.text) + "\n";
  page += ".SH SYNOPSIS\n.B " + Escaped(Usage(tool)) + " COMMAND\n";
  page += ".SH OPTIONS\n" + Options(tool);
  page += ".SH COMMANDS\n";
  for (const CommandDescription& command : tool.commands) {
    page += Command(command);
  }
  return page + kEnd;
}

}  // namespace quelt
