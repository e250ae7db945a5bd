// The polaiga program: its command line.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <sstream>

#include "commands/command.h"
#include "commands/replay_command.h"

namespace {

using namespace polaiga::engine;

int run(int argc, char** argv, StandardOutput& output) {
  CLI::App app("Takes sensor events of a rack server to fault records, and tells which faults are active.", "polaiga");
  app.set_version_flag("--version", "polaiga " POLAIGA_VERSION);
  app.footer(kReplayExample);
  app.require_subcommand(1);
  const std::vector<Command> commands = add_commands(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::ostringstream answer;
    std::ostringstream complaint;
    const int status = app.exit(error, answer, complaint);
    output.write(answer.str());
    output.flush();
    std::fputs(complaint.str().c_str(), stderr);
    return status == 0 ? kDone : kFailed;
  }
  for (const Command& command : commands) {
    if (command.app->parsed()) return command.run(output);
  }
  return kFailed;
}

}  // namespace

int main(int argc, char** argv) {
  // A reader that has gone away is then an error of the write.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    try {
      StandardOutput output;
      return run(argc, argv, output);
    } catch (const WriteError& error) {
      if (error.code().value() == EPIPE) return kDone;
      std::fprintf(stderr, "polaiga: cannot write to standard output: %s\n", error.code().message().c_str());
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& error) {
      std::fprintf(stderr, "polaiga: %s\n", error.what());
    }
  } catch (...) {  // the message of an error takes memory, too
    std::fputs("polaiga: there is no memory left\n", stderr);
  }
  return kFailed;
}
