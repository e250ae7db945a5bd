// The polaiga program: its command line.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "base/messages.h"
#include "base/printable.h"
#include "commands/command.h"
#include "commands/command_line.h"
#include "commands/external_command.h"
#include "commands/options.h"
#include "commands/replay_command.h"

namespace {

using namespace polaiga::engine;

// The programs that `polaiga NAME` runs, and an example.
std::string footer_of(const CLI::App& app) {
  std::string programs;
  for (const std::string& name : external_commands(app)) programs += "  " + name + "\n";
  if (!programs.empty()) programs = "Programs of their own, with a --help of their own:\n" + programs + "\n";
  return programs + kReplayExample;
}

void ignore_signals_of_writes() {
  // A file that may not grow further (ulimit -f) is then an error of the write, too: the engine treats it as a full
  // disk.
  std::signal(SIGXFSZ, SIG_IGN);
  // A reader that has gone away is then an error of the write.
  std::signal(SIGPIPE, SIG_IGN);
}

int run(int argc, char** argv) {
  CLI::App app("Turns the sensor events of a rack server into fault records, and tells which faults are active.",
               "polaiga");
  app.set_version_flag("--version", "polaiga " POLAIGA_VERSION);
  app.footer([&app] { return footer_of(app); });
  app.require_subcommand(1);
  const std::vector<Command> commands = add_commands(app);
  const std::span<char* const> arguments(argv, static_cast<std::size_t>(argc));
  run_external_command(app, arguments);  // the other program inherits everything as it is
  ignore_signals_of_writes();
  StandardOutput output;
  try {
    read_command_line(app, arguments);
  } catch (const CLI::Success& asked) {  // for help, or for the version
    std::ostringstream answer;
    app.exit(asked, answer);
    output.write(answer.str());
    output.flush();
    return kDone;
  } catch (const UsageError& error) {
    std::fputs(printable_lines(std::string(error.what()) + "\n").c_str(), stderr);
    return kFailed;
  }
  for (const Command& command : commands) {
    if (command.app->parsed()) return command.run(output);
  }
  return kFailed;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    try {
      return run(argc, argv);
    } catch (const WriteError& error) {
      if (error.code().value() == EPIPE) return kDone;
      say("cannot write to standard output: " + error.code().message());
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& error) {
      say(error.what());
    }
  } catch (...) {  // the message of an error takes memory, too
    std::fputs("polaiga: there is no memory left\n", stderr);
  }
  return kFailed;
}
