#include "embedded_host/tool/rehearsed_command.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "embedded_host/store/descriptor.h"
#include "embedded_host/tool/command_process.h"
#include "embedded_host/tool/watcher.h"

namespace quelt {

namespace {

using std::chrono::steady_clock;

struct Pipe {
  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
      throw std::system_error(errno, std::generic_category(), "Starting the command");
    }
    readEnd = Descriptor(ends[0]);
    writeEnd = Descriptor(ends[1]);
  }
  Descriptor readEnd;
  Descriptor writeEnd;
};

/// The command's standard output and standard error. Keeps the end of what was written.
class Output {
 public:
  Output() { fcntl(pipe_.readEnd.get(), F_SETFL, O_NONBLOCK); }

  int read_end() const { return pipe_.readEnd.get(); }
  int write_end() const { return pipe_.writeEnd.get(); }

  void Take() {
    constexpr std::size_t kMaxBytes = 65536;
    char part[16384];
    ssize_t size = 0;
    while ((size = read(read_end(), part, sizeof part)) > 0) {
      text_.append(part, static_cast<std::size_t>(size));
      if (text_.size() > 2 * kMaxBytes) {
        text_.erase(0, text_.size() - kMaxBytes);
      }
    }
  }
  const std::string& text() const { return text_; }

 private:
  Pipe pipe_;
  std::string text_;
};

/// A standard input with one empty line. It tells whether somebody has read it.
class Input {
 public:
  Input() {
    static_cast<void>(write(pipe_.writeEnd.get(), "\n", 1));
    pipe_.writeEnd.Close();
  }
  int read_end() const { return pipe_.readEnd.get(); }
  bool WasRead() const {
    int left = 0;
    ioctl(read_end(), FIONREAD, &left);
    return left == 0;
  }

 private:
  Pipe pipe_;
};

/// Waits until no process that the command started is left; kills them at the deadline and then
/// returns true. Requires AdoptOrphans, which CommandProcess has called.
bool EndOrphans(Output& output, steady_clock::time_point deadline) {
  constexpr useconds_t kMicroseconds = 2000;
  while (waitpid(-1, nullptr, WNOHANG) >= 0) {
    if (steady_clock::now() >= deadline) {
      KillDescendants();
      return true;
    }
    output.Take();
    usleep(kMicroseconds);
  }
  return false;
}

}  // namespace

CommandEnd RunRehearsedCommand(const RehearsedCommand& command) {
  Output output;
  const Input input;
  const auto deadline = steady_clock::now() + command.timeLimit;
  CommandOptions options;
  options.prepare = [&] {
    setsid();  // "kill 0" in a script must not reach this process
    dup2(input.read_end(), STDIN_FILENO);
    dup2(output.write_end(), STDOUT_FILENO);
    dup2(output.write_end(), STDERR_FILENO);
  };
  options.output = output.read_end();
  options.takeOutput = [&] { output.Take(); };
  options.deadline = deadline;
  CommandEnd end;
  {
    const CommandProcess process;
    const CommandOutcome outcome = process.Run(command.words, options);
    end.error = outcome.error;
    end.status = outcome.status;
    end.timedOut = outcome.timedOut;
    end.outlived = EndOrphans(output, std::min(deadline, steady_clock::now() + command.grace));
  }
  output.Take();
  end.readInput = input.WasRead();
  end.output = output.text();
  return end;
}

}  // namespace quelt
