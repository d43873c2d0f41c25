#include "embedded_host/tool/manual.h"

#include <string_view>

namespace quelt {

namespace {

/// Text that the formatter takes as it is: no escape, no hyphen made of a minus sign, no request at
/// the beginning of a line.
std::string Plain(std::string_view text) {
  std::string plain;
  for (const char c : text) {
    const bool begins = plain.empty() || plain.back() == '\n';
    if (begins && (c == '.' || c == '\'')) {
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
      continue;  // said once, at the top
    }
    std::string names;
    for (const std::string& name : option.names) {
      names += (names.empty() ? "" : ", ") + name;
    }
    text += ".TP\n.B " + Plain(names) + (option.value.empty() ? "" : " " + Plain(option.value)) +
            "\n" + Plain(option.text) + ".\n";
  }
  return text;
}

std::string Command(const CommandDescription& command) {
  std::string text;
  if (command.commands.empty()) {
    text += ".SS " + Plain(Usage(command)) + "\n" + Plain(command.text) + ".\n" + Options(command);
  } else {
    text += ".SS " + Plain(Usage(command)) + " COMMAND\n" + Plain(command.text) + ".\n";
  }
  if (!command.footer.empty()) {
    text += ".PP\n.nf\n" + Plain(command.footer) + "\n.fi\n";
  }
  for (const CommandDescription& below : command.commands) {
    text += Command(below);
  }
  return text;
}

constexpr const char* kEnd = R"(.SH ENVIRONMENT
.TP
.B QUELT_HOST_STATE
The host's state file. Unset, it is
.IR $XDG_STATE_HOME/quelt/host.db ,
or
.I ~/.local/state/quelt/host.db
if that is unset too.
.TP
.B QUELT_HOST_WAIT
How many seconds a writer waits for another one; 30 unless set.
.TP
.B NO_COLOR
If it is set and not empty, output to a terminal has no colours either.
.SH EXIT STATUS
0 for success; 1 when the command failed, with one line on standard error; 2 for wrong usage.
That of
.B run
is the exit status of the command that it ran.
)";

}  // namespace

std::string ManualPage(const CommandDescription& tool) {
  std::string page = ".TH QUELT\\-HOST 1 \"\" \"pyquelt " PYQUELT_VERSION "\"\n";
  page += ".SH NAME\nquelt\\-host \\- " + Plain(tool.text) + "\n";
  page += ".SH SYNOPSIS\n.B " + Plain(Usage(tool)) + " COMMAND\n";
  page += ".SH OPTIONS\n" + Options(tool);
  page += ".SH COMMANDS\n";
  for (const CommandDescription& command : tool.commands) {
    page += Command(command);
  }
  return page + kEnd;
}

}  // namespace quelt
