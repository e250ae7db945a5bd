#include "commands/tail_command.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <memory>
#include <utility>

#include "base/interrupt.h"
#include "commands/selection_options.h"
#include "ledger/ledger_query.h"
#include "report/colour.h"
#include "report/json_report.h"
#include "report/text_report.h"

namespace polaiga::engine {
namespace {

constexpr int kInterval = 200;  // ms between two looks at the ledger
constexpr int kPatience = 10;   // looks, before it is told why a new ledger cannot be read

struct TailOptions {
  std::string ledger;
  std::size_t lines = 10;
  bool json = false;
  bool follow = true;
  Colour colour = Colour::kAuto;
  Selection selection;
};

// Tells a file from another that took its name.
using FileIdentity = std::pair<dev_t, ino_t>;

std::optional<FileIdentity> identity_of(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return FileIdentity{status.st_dev, status.st_ino};
}

// Until the next look; answers whether there is to be one. Nothing else has put
// another file in the place of standard output.
bool wait() {
  std::array<pollfd, 2> watched{{{interrupt_fd(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
  ::poll(watched.data(), watched.size(), kInterval);
  return !interrupted() && (watched[1].revents & (POLLERR | POLLHUP)) == 0;
}

class Tail {
 public:
  Tail(const TailOptions& options, StandardOutput& output) : options_(options), output_(output) {
    if (options.json) {
      report_ = std::make_unique<JsonReport>();
    } else {
      report_ = std::make_unique<TextReport>(wants_colour(options.colour, output));
    }
  }

  void run() {
    file_ = identity_of(options_.ledger);
    reader_.emplace(options_.ledger);
    print(reader_->latest(options_.selection, options_.lines));
    if (!options_.follow) return;
    while (wait()) {
      if (reader_ && reader_->has_changed()) print_new();
      look_for_another();
    }
  }

 private:
  void print(const RecordsRead& read) {
    for (const StoredRecord& one : read.records) {
      output_.write(report_->record({one.record, one.event.line.time, one.outcome}));
    }
    output_.flush();
    through_ = read.through;
  }

  void print_new() {
    for (Sequence before = -1; before != through_ && !interrupted();) {
      before = through_;
      print(reader_->after(options_.selection, through_));
    }
  }

  // An engine sets a damaged ledger aside and begins another.
  void look_for_another() {
    const auto file = identity_of(options_.ledger);
    if (file == file_) return;
    if (reader_) leave(file.has_value());
    if (!file) return;
    try {
      reader_.emplace(options_.ledger);
      file_ = file;
      print_new();
    } catch (const LedgerError& error) {  // it may be in the making
      reader_.reset();
      file_.reset();
      if (++failures_ == kPatience) tell(error.what());
    }
  }

  void leave(bool replaced) {
    try {
      print_new();
    } catch (const LedgerError&) {  // of a damaged one, what could be read is printed
    }
    reader_.reset();
    file_.reset();
    through_ = 0;
    failures_ = 0;
    tell(options_.ledger + (replaced ? ": the ledger was replaced; the new one follows, from its beginning"
                                     : ": the ledger is gone; waiting for a new one"));
  }

  static void tell(const std::string& what) { std::fprintf(stderr, "polaiga: %s\n", what.c_str()); }

  const TailOptions& options_;
  StandardOutput& output_;
  std::unique_ptr<Report> report_;
  std::optional<LedgerReader> reader_;
  std::optional<FileIdentity> file_;  // of the ledger that is read
  Sequence through_ = 0;
  int failures_ = 0;
};

Status tail(const TailOptions& options, StandardOutput& output) {
  watch_for_interrupt();
  Tail(options, output).run();
  return kDone;
}

}  // namespace

Command tail_command(CLI::App& program) {
  const auto options = std::make_shared<TailOptions>();
  CLI::App* const app =
      program.add_subcommand("tail", "Print the last records of the ledger, and new ones as they come");
  app->footer(
      "Example:\n  polaiga tail -n 20 --under sys/rack-unit-1/psu-1\n\n"
      "A record that clears a fault counts as severe as the fault. Ctrl-C ends it, and so\n"
      "does a reader that closes the pipe. When another ledger takes the place of this\n"
      "one, it is followed from its beginning.\n\n"
      "Exit status: 0 when all is well, 2 when the ledger cannot be read.");
  add_ledger_option(*app, options->ledger);
  app->add_option("-n,--lines", options->lines, "Begin with the last N records (default 10)")->option_text("N");
  app->add_flag("--json", options->json, "Print JSON Lines, a record each");
  app->add_flag_callback(
      "--no-follow", [options] { options->follow = false; }, "End after the last records");
  add_selection_options(*app, options->selection);
  add_colour_option(*app, options->colour);
  return {app, [options](StandardOutput& output) { return tail(*options, output); }};
}

}  // namespace polaiga::engine
