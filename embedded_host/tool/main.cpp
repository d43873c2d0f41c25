// quelt-host: prepares and inspects the embedded host and injects faults, from outside the scripts
// that use the host.
//
// Exit status: 0 for success; 1 for a failure, with one line on standard error; 2 for invalid
// usage. `run` exits with the status of its command, or with 126 or 127 if that cannot be started;
// `rehearse` with 1 for findings and 2 if the command can't be rehearsed.
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
constexpr int kInvalidUsage = 2;

/// The store reads the path from the environment, as in every other process.
void UseState(const std::string& path) { setenv("QUELT_HOST_STATE", path.c_str(), 1); }

/// True for an option whose value is the next word.
bool TakesValue(const CLI::App& app, const std::string& word) {
  const CLI::Option* const option = app.get_option_no_throw(word);
  return option != nullptr && option->get_items_expected_max() > 0;
}

/// Removes the command of "run" or "rehearse" from the words and returns it. It begins after "--",
/// or with the first word that is neither an option nor the value of one.
std::vector<std::string> ExtractCommand(const CLI::App& app, std::vector<std::string>& words) {
  const CLI::App* run = nullptr;  // or rehearse
  for (auto word = words.begin(); word != words.end(); ++word) {
    if (word->starts_with('-') && *word != "--") {
      if (TakesValue(app, *word) || (run != nullptr && TakesValue(*run, *word))) {
        word += word + 1 == words.end() ? 0 : 1;
      }
    } else if (run == nullptr) {
      if (*word != "run" && *word != "rehearse") {
        return {};
      }
      run = app.get_subcommand(*word);
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

/// Splits "--name=" into two words: CLI11 would take the next word as the value.
void SplitEmptyValues(const CLI::App& app, std::vector<std::string>& words) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string name = words[i].substr(0, words[i].size() - 1);
    if (words[i].starts_with("--") && words[i].ends_with('=') && HasOption(app, name)) {
      words[i] = name;
      words.insert(words.begin() + static_cast<std::ptrdiff_t>(i) + 1, "");
    }
  }
}

/// The error for an unknown subcommand, or "" if there is none: CLI11 only reports that a
/// subcommand is missing.
std::string UnknownCommandText(const CLI::App& app) {
  const std::vector<std::string> rest = app.remaining(true);
  const auto word =
      std::find_if(rest.begin(), rest.end(), [](const auto& each) { return each[0] != '-'; });
  const CLI::App* at = &app;  // becomes the innermost subcommand that was parsed
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
  return "Unknown command \"" + *word + "\"" + quelt::DidYouMean(*word, names);
}

int Run(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  std::vector<std::string> command;
  CLI::App app("Prepare and inspect the embedded Quelt host, inject faults, and record operations",
               "quelt-host");
  app.require_subcommand(1);
  app.fallthrough();
  app.set_version_flag("--version", "quelt-host " PYQUELT_VERSION, "Print the version and exit");
  app.add_option_function<std::string>("--state", UseState,
                                       "The host's state file; overrides QUELT_HOST_STATE")
      ->type_name("PATH")
      ->check([](const std::string& path) {
        return path.empty() ? "PATH is empty" : std::string();  // the default host otherwise
      })
      ->trigger_on_parse();
  quelt::AddStateCommands(app);
  quelt::AddScenarioCommands(app);
  quelt::AddShowCommand(app);
  quelt::AddFaultCommands(app);
  quelt::AddJournalCommands(app);
  quelt::AddRunCommand(app, command);
  quelt::AddRehearseCommand(app, command);
  quelt::AddDocumentationCommands(app);
  app.failure_message([](const CLI::App* failed, const CLI::Error& error) {
    return "quelt-host: " + CLI::FailureMessage::simple(failed, error);
  });
  command = ExtractCommand(app, words);
  SplitEmptyValues(app, words);
  try {
    std::reverse(words.begin(), words.end());  // CLI11 expects them in reverse order
    app.parse(words);
  } catch (const CLI::RuntimeError& status) {
    return status.get_exit_code();
  } catch (const CLI::RequiredError& failure) {
    const std::string unknown = UnknownCommandText(app);
    app.exit(unknown.empty() ? failure
                             : CLI::RequiredError(unknown, CLI::ExitCodes::RequiredError));
    return kInvalidUsage;
  } catch (const CLI::ParseError& failure) {
    if (app.exit(failure) != EXIT_SUCCESS) {
      return kInvalidUsage;
    }  // otherwise help or the version was printed
  }
  if (!std::cout.flush()) {
    throw std::runtime_error("Standard output could not be written");
  }
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc > 3 && std::string_view(argv[1]) == "--supervise") {  // used only by quelt_testing
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
