// quelt-host: seeds, inspects and breaks the embedded host from outside the scripts that use it.
//
// Exit status: 0; 1 when the command failed, with one line on standard error; 2 for wrong usage.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "embedded_host/tool/commands.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

/// The path reaches the store as it reaches every other process: through the environment.
void UseState(const std::string& path) { setenv("QUELT_HOST_STATE", path.c_str(), 1); }

int Run(int argc, char** argv) {
  CLI::App app("The embedded Quelt host: its state and its faults", "quelt-host");
  app.require_subcommand(1);
  app.fallthrough();
  app.add_option_function<std::string>("--state", UseState,
                                       "The host's state file, in place of QUELT_HOST_STATE")
      ->type_name("PATH")
      ->trigger_on_parse();
  quelt::AddStateCommands(app);
  quelt::AddScenarioCommands(app);
  quelt::AddFaultCommands(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& failure) {
    return app.exit(failure) == 0 ? EXIT_SUCCESS : kUsage;
  }
  if (!std::cout.flush()) {
    throw std::runtime_error("Standard output could not be written");
  }
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& failure) {
    std::cerr << "quelt-host: " << failure.what() << '\n';
    return kFailed;
  }
}
