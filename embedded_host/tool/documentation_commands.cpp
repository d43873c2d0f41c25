// completion and manual: shell completions and the manual page, generated from the subcommands.
#include <iostream>
#include <map>
#include <memory>

#include "embedded_host/tool/commands.h"
#include "embedded_host/tool/completion.h"
#include "embedded_host/tool/manual.h"

namespace quelt {

void AddDocumentationCommands(CLI::App& app) {
  using Completion = std::string (*)(const CommandDescription&);
  static const std::map<std::string, Completion> kCompletions = {
      {"bash", BashCompletion}, {"fish", FishCompletion}, {"zsh", ZshCompletion}};

  CLI::App& completion = *app.add_subcommand("completion", "Print a shell completion script");
  const auto shell = std::make_shared<std::string>();
  completion.add_option("SHELL", *shell, "bash, fish or zsh")
      ->required()
      ->check(CLI::IsMember(kCompletions));
  completion.footer("Example, in ~/.bashrc:\n  eval \"$(quelt-host completion bash)\"");
  completion.callback([&app, shell] { std::cout << kCompletions.at(*shell)(Describe(app)); });

  app.add_subcommand("manual", "Print the manual page")
      ->footer("Example:\n  quelt-host manual > quelt-host.1 && man ./quelt-host.1")
      ->callback([&app] { std::cout << ManualPage(Describe(app)); });
}

}  // namespace quelt
