#include "embedded_host/tool/completion.h"

#include <algorithm>
#include <functional>

#include "embedded_host/operation/operation_names.h"

namespace quelt {

namespace {

std::string Joined(const std::vector<std::string>& words, const char* separator) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : separator) + word;
  }
  return text;
}

void ForEachCommand(const CommandDescription& command,
                    const std::function<void(const CommandDescription&)>& visit) {
  visit(command);
  for (const CommandDescription& below : command.commands) {
    ForEachCommand(below, visit);
  }
}

bool IsFile(const std::string& value) { return value == "FILE" || value == "PATH"; }

/// What a positional argument can be, apart from files.
std::vector<std::string> Candidates(const OptionDescription& positional) {
  if (positional.names.front() == "OPERATION") {
    return {kOperationNames.begin(), kOperationNames.end()};
  }
  return positional.names.front() == "SHELL" ? std::vector<std::string>{"bash", "fish", "zsh"}
                                             : std::vector<std::string>();
}

bool TakesFile(const CommandDescription& command) {
  return std::any_of(command.options.begin(), command.options.end(), [](const auto& option) {
    return option.positional && IsFile(option.names.front());
  });
}

/// Whether the words after it are another program's.
bool RunsCommand(const CommandDescription& command) {
  return std::any_of(command.options.begin(), command.options.end(), [](const auto& option) {
    return option.positional && option.names.front() == "COMMAND";
  });
}

/// Everything but files that may stand after a command.
std::string WordsAfter(const CommandDescription& command, const CommandDescription& tool) {
  std::vector<std::string> words;
  for (const CommandDescription& below : command.commands) {
    words.push_back(below.words.back());
  }
  for (const OptionDescription& option : command.options) {
    const std::vector<std::string> more = option.positional ? Candidates(option) : option.names;
    words.insert(words.end(), more.begin(), more.end());
  }
  if (&command != &tool && !RunsCommand(command)) {  // run has a state of its own
    for (const OptionDescription& option : tool.options) {
      if (!option.value.empty()) {
        words.insert(words.end(), option.names.begin(), option.names.end());
      }
    }
  }
  return Joined(words, " ");
}

/// The names of the options that take a value of this kind, as a pattern of `case`.
std::string OptionsPattern(const CommandDescription& tool, bool files) {
  std::vector<std::string> names;
  ForEachCommand(tool, [&](const CommandDescription& command) {
    for (const OptionDescription& option : command.options) {
      if (!option.value.empty() && IsFile(option.value) == files) {
        names.insert(names.end(), option.names.begin(), option.names.end());
      }
    }
  });
  return Joined(names, " | ");
}

/// Each text in single quotes of fish.
std::string FishQuoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) {
    quoted += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
  }
  return quoted + "'";
}

}  // namespace

std::string BashCompletion(const CommandDescription& tool) {
  std::string paths;
  std::string programs;
  std::string cases;
  ForEachCommand(tool, [&](const CommandDescription& command) {
    const std::string path = Joined(command.words, " ");
    for (const CommandDescription& below : command.commands) {
      paths += (paths.empty() ? "" : " | ") + ("\"" + path + "/" + below.words.back() + "\"");
    }
    programs += RunsCommand(command) ? "    \"" + path + "\"/-*) ;;\n    \"" + path +
                                           "\"/*) COMPREPLY=($(compgen -f -c -- \"$word\")); "
                                           "return ;;\n"
                                     : "";
    cases += "    \"" + path + "\") words=\"" + WordsAfter(command, tool) + "\"" +
             (TakesFile(command)     ? " files=1"
              : RunsCommand(command) ? " files=1 commands=1"
                                     : "") +
             " ;;\n";
  });
  const std::string file_options = OptionsPattern(tool, true);
  const std::string other_options = OptionsPattern(tool, false);
  return "# Made by: quelt-host completion\n"
         "_quelt_host() {\n"
         "  local word=\"${COMP_WORDS[COMP_CWORD]}\" path=\"\" words=\"\" files=\"\" commands=\"\" "
         "i=1\n"
         "  COMPREPLY=()\n"
         "  while [ $i -lt \"$COMP_CWORD\" ]; do\n"
         "    case \"$path/${COMP_WORDS[i]}\" in\n"
         "    " +
         paths + ") path=\"${path:+$path }${COMP_WORDS[i]}\" ;;\n" + programs +
         "    esac\n"
         "    case \"${COMP_WORDS[i]}\" in\n"
         "    --) COMPREPLY=($(compgen -f -c -- \"$word\")); return ;;\n"
         "    " +
         file_options + " | " + other_options +
         ") i=$((i + 1)) ;;\n"
         "    esac\n"
         "    i=$((i + 1))\n"
         "  done\n"
         "  case \"${COMP_WORDS[COMP_CWORD - 1]}\" in\n"
         "  " +
         file_options +
         ") COMPREPLY=($(compgen -f -- \"$word\")); return ;;\n"
         "  " +
         other_options +
         ") return ;;\n"
         "  esac\n"
         "  case \"$path\" in\n" +
         cases +
         "  esac\n"
         "  COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
         "  if [ -n \"$files\" ]; then\n"
         "    COMPREPLY+=($(compgen -f -- \"$word\"))\n"
         "  fi\n"
         "  if [ -n \"$commands\" ]; then\n"
         "    COMPREPLY+=($(compgen -c -- \"$word\"))\n"
         "  fi\n"
         "}\n"
         "complete -o filenames -F _quelt_host quelt-host\n";
}

std::string ZshCompletion(const CommandDescription& tool) {
  return "#compdef quelt-host\nautoload -U +X bashcompinit && bashcompinit\n" +
         BashCompletion(tool) +
         // Loaded from a folder of completions, this is the function that was asked just now.
         "[[ \"${funcstack[1]}\" != _quelt-host ]] || _bash_complete -o filenames -F _quelt_host\n";
}

std::string FishCompletion(const CommandDescription& tool) {
  std::string known;
  std::string lines;
  ForEachCommand(tool, [&](const CommandDescription& command) {
    const std::string path = Joined(command.words, " ");
    known += path.empty() ? "" : " " + FishQuoted(path);
    const std::string here = "complete -c quelt-host -n " + FishQuoted("__quelt_host_at " + path);
    for (const CommandDescription& below : command.commands) {
      lines += here + " -a " + below.words.back() + " -d " + FishQuoted(below.text) + "\n";
    }
    for (const OptionDescription& option : command.options) {
      if (option.positional) {
        const std::vector<std::string> words = Candidates(option);
        lines += words.empty() ? "" : here + " -a " + FishQuoted(Joined(words, " ")) + "\n";
        continue;
      }
      lines += here;
      for (const std::string& name : option.names) {
        lines += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
      }
      lines += option.value.empty() ? "" : IsFile(option.value) ? " -r -F" : " -x";
      lines += " -d " + FishQuoted(option.text) + "\n";
    }
    lines += TakesFile(command) ? here + " -F\n" : "";
  });
  return "# Made by: quelt-host completion\n"
         "function __quelt_host_at\n"
         "    set -l path\n"
         "    for word in (commandline -opc)[2..-1]\n"
         "        if contains -- (string join ' ' $path $word)" +
         known +
         "\n"
         "            set -a path $word\n"
         "        end\n"
         "    end\n"
         "    test \"$path\" = \"$argv\"\n"
         "end\n"
         "complete -c quelt-host -f\n"
         "complete -c quelt-host -n 'not __quelt_host_at run' -l state -r -F\n" +
         lines;
}

}  // namespace quelt
