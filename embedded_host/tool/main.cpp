// quelt-host: seeds, inspects and breaks the embedded host from outside the scripts that use it.
//
// Exit status: 0; 1 when the command failed, with one line on standard error; 2 for wrong usage.
// That of `run` is the status of the command that it ran, 126 or 127 if it could not be run.
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "embedded_host/tool/command_process.h"
#include "embedded_host/tool/commands.h"
#include "embedded_host/tool/suggestions.h"
#include "embedded_host/tool/table.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

/// The path reaches the store as it reaches every other process: through the environment.
void UseState(const std::string& path) { setenv("QUELT_HOST_STATE", path.c_str(), 1); }

/// Whether the word is an option whose value is the next word.
bool TakesNextWord(const CLI::App& app, const std::string& word) {
  const CLI::Option* const option = app.get_option_no_throw(word);
  return option != nullptr && option->get_items_expected_max() > 0;
}

/// Takes the command of "run" from the words: it begins after "--", or with the first word that is
/// neither an option nor the value of one.
std::vector<std::string> TakeCommand(const CLI::App& app, std::vector<std::string>& words) {
  const CLI::App* run = nullptr;
  for (auto word = words.begin(); word != words.end(); ++word) {
    if (word->starts_with('-') && *word != "--") {
      if (TakesNextWord(app, *word) || (run != nullptr && TakesNextWord(*run, *word))) {
        word += word + 1 == words.end() ? 0 : 1;
      }
    } else if (run == nullptr) {
      if (*word != "run") {
        return {};
      }
      run = app.get_subcommand("run");
    } else {
      std::vector<std::string> command(word + (*word == "--" ? 1 : 0), words.end());
      words.erase(word, words.end());
      return command;
    }
  }
  return {};
}

bool HasOption(const CLI::App& app, const std::string& name) {
  const std::vector<const CLI::App*> below = app.get_subcommands(nullptr);
  return app.get_option_no_throw(name) != nullptr ||
         std::any_of(below.begin(), below.end(),
                     [&](const CLI::App* each) { return HasOption(*each, name); });
}

/// Makes two words of "--name=", for which the library would take the next word as the value.
void SplitEmptyValues(const CLI::App& app, std::vector<std::string>& words) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string name = words[i].substr(0, words[i].size() - 1);
    if (words[i].starts_with("--") && words[i].ends_with('=') && HasOption(app, name)) {
      words[i] = name;
      words.insert(words.begin() + static_cast<std::ptrdiff_t>(i) + 1, "");
    }
  }
}

/// Says which word is no command, where one had to stand; the library says only that it is missing.
std::string UnknownCommand(const CLI::App& app) {
  const std::vector<std::string> rest = app.remaining(true);
  const auto word =
      std::find_if(rest.begin(), rest.end(), [](const auto& each) { return each[0] != '-'; });
  const CLI::App* at = &app;  // the last word that is a command
  while (!at->get_subcommands().empty()) {
    at = at->get_subcommands().front();
  }
  if (word == rest.end() || at->get_require_subcommand_min() == 0) {
    return {};
  }
  std::vector<std::string_view> names;
  for (const CLI::App* const below : at->get_subcommands(nullptr)) {
    names.push_back(below->get_name());
  }
  return "No command is called \"" + *word + "\"" + quelt::DidYouMean(*word, names);
}

int Run(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  std::vector<std::string> command;
  CLI::App app("Seed, inspect and break the embedded Quelt host, and record what scripts do to it",
               "quelt-host");
  app.require_subcommand(1);
  app.fallthrough();
  app.set_version_flag("--version", "quelt-host " PYQUELT_VERSION, "Print the version and exit");
  app.add_option_function<std::string>("--state", UseState,
                                       "The host's state file, in place of QUELT_HOST_STATE")
      ->type_name("PATH")
      ->check([](const std::string& path) {
        return path.empty() ? "PATH is empty" : std::string();  // it would mean the user's own host
      })
      ->trigger_on_parse();
  quelt::AddStateCommands(app);
  quelt::AddScenarioCommands(app);
  quelt::AddShowCommand(app);
  quelt::AddFaultCommands(app);
  quelt::AddJournalCommands(app);
  quelt::AddRunCommand(app, command);
  quelt::AddDocumentationCommands(app);
  app.failure_message([](const CLI::App* failed, const CLI::Error& error) {
    return "quelt-host: " + CLI::FailureMessage::simple(failed, error);
  });
  command = TakeCommand(app, words);
  SplitEmptyValues(app, words);
  try {
    std::reverse(words.begin(), words.end());  // as the library wants them
    app.parse(words);
  } catch (const CLI::RuntimeError& status) {
    return status.get_exit_code();
  } catch (const CLI::RequiredError& failure) {
    const std::string unknown = UnknownCommand(app);
    app.exit(unknown.empty() ? failure
                             : CLI::RequiredError(unknown, CLI::ExitCodes::RequiredError));
    return kUsage;
  } catch (const CLI::ParseError& failure) {
    if (app.exit(failure) != EXIT_SUCCESS) {
      return kUsage;
    }  // else it was asked for: help or the version
  }
  if (!std::cout.flush()) {
    throw std::runtime_error("Standard output could not be written");
  }
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc > 3 && std::string_view(argv[1]) == "--supervise") {  // quelt_testing's, not a user's
      quelt::Supervise(std::atoi(argv[2]), {argv + 3, argv + argc});
    }
    return Run(argc, argv);
  } catch (const quelt::StatusFailure& failure) {
    std::cerr << "quelt-host: " << quelt::Printable(failure.what()) << '\n';
    return failure.status();
  } catch (const std::exception& failure) {
    std::cerr << "quelt-host: " << quelt::Printable(failure.what()) << '\n';
    return kFailed;
  }
}
