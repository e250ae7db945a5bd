#include "adapter/command_line.h"

#include <CLI/CLI.hpp>

#include "base/status.h"
#include "controller/freeipmi_session.h"

namespace polaiga::ipmi {
namespace {

constexpr const char* kVersion =
    "polaiga-ipmi " POLAIGA_VERSION
    "\n"
    "This program uses libfreeipmi. As a whole it is distributed under the GNU General Public License, version 3 or\n"
    "later; there is no warranty. Its own sources are under the Apache License, version 2.0.";

std::string joined(const std::vector<std::string_view>& names) {
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : ", ") + std::string(name);
  return text;
}

void add_controller_options(CLI::App& program, Options& options) {
  auto* const target =
      program.add_option("--target", options.target, "Controller on the network: HOST, HOST:PORT or [ADDRESS]:PORT");
  program.add_option("--device", options.device, "Controller of this machine, as /dev/ipmi0")->excludes(target);
  program.add_option("--user", options.user, "User of the controller, who needs the privilege USER and no more");
  program.add_option("--password-file", options.password_file,
                     "File with the user's password, which nobody else may read");
  program.add_option("--cipher", options.cipher, "Cipher suite: 3 (which is used without this option) or 17")
      ->check(CLI::IsMember({3, 17}));
  program
      .add_option("--workaround", options.workarounds,
                  "Workaround for a controller that does not keep to the standard: " + joined(workaround_names()) +
                      ". May be given repeatedly")
      ->allow_extra_args(false)
      ->check([](const std::string& name) {
        for (const std::string_view known : workaround_names()) {
          if (name == known) return std::string();
        }
        return "there is no workaround '" + name + "'; there are " + joined(workaround_names());
      });
}

// What no option says by itself.
void check_together(const Options& options) {
  if (!options.sel.empty() || (!options.sdr.empty() && options.check)) {
    if (!options.target.empty() || !options.device.empty()) {
      throw CLI::ValidationError("--sel and --sdr are read in place of a controller; give no --target and no --device");
    }
    if (!options.sel.empty() && !options.print) throw CLI::ValidationError("--sel needs --print");
    return;
  }
  if (!options.sdr.empty()) throw CLI::ValidationError("--sdr needs --sel or --check");
  if (options.print || options.check) return;
  if (options.socket.empty()) throw CLI::ValidationError("give the engine's socket with --socket");
  if (options.state.empty()) {
    throw CLI::ValidationError("give a file for what the program must not forget with --state");
  }
}

}  // namespace

std::optional<Options> read_command_line(int argc, const char* const* argv, int& status) {
  CLI::App program("Tells an engine what a server's management controller says by IPMI", "polaiga-ipmi");
  program.set_version_flag("--version", kVersion);
  Options options;
  add_controller_options(program, options);
  program.add_option("--socket", options.socket, "Socket of the engine for events");
  program.add_option("--state", options.state,
                     "File in which the program keeps how far the log was read and what the engine was told");
  program.add_option("--map", options.map,
                     "Mapping: which events the sensors become. Without this option the installed one is used");
  program.add_option("--poll", options.poll, "Seconds from one look at the controller's log to the next")
      ->check(CLI::Range(1, 30))
      ->capture_default_str();
  program.add_flag("--history", options.with_history,
                   "At the first start, tell what the log already holds, and not only the present state");
  program.add_flag("--once", options.once, "Read the log and the sensors once, send what there is to tell, and end");
  auto* const check_flag = program.add_flag(
      "--check", options.check, "List the sensors, the rows of the mapping that take them, and what would be sent");
  program.add_flag("--print", options.print, "Print the events as JSON Lines, and send nothing")->excludes(check_flag);
  program.add_option("--sel", options.sel, "File with a saved log, in place of a controller");
  program.add_option("--sdr", options.sdr, "File with the SDRs of the same controller");
  program.footer(
      "The target, user, password, cipher and workaround may be in the credential `server` of the service manager, a "
      "line each, as in target=192.0.2.7.\n"
      "Exit status: 0 all is done; 1 something could not be told or read, or the program could not go on and may be "
      "started again; 2 wrong usage, the controller refuses the user, or --check does not reach it.");
  try {
    program.parse(argc, argv);
    check_together(options);
    return options;
  } catch (const CLI::ParseError& error) {
    status = program.exit(error) == 0 ? engine::kDone : engine::kFailed;
    return std::nullopt;
  }
}

}  // namespace polaiga::ipmi
