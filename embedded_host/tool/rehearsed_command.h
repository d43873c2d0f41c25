// Runs a command for a rehearsal: without input, with captured output and a time limit.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace quelt {

struct RehearsedCommand {
  std::vector<std::string> words;
  std::chrono::milliseconds timeLimit;
  /// How long processes that outlive the command may take to end, within the time limit.
  std::chrono::milliseconds grace;
};

struct CommandEnd {
  int error = 0;           ///< the errno value if the command could not be started
  int status = 0;          ///< otherwise its status, as waitpid returns it
  bool timedOut = false;   ///< it was killed at its time limit
  bool outlived = false;   ///< processes that outlived it were killed
  bool readInput = false;  ///< it read its standard input
  std::string output;      ///< the end of its standard output and standard error
};

/// No process that the command started is left when this returns. Only for a process without other
/// threads and children.
CommandEnd RunRehearsedCommand(const RehearsedCommand& command);

}  // namespace quelt
