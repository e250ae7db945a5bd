#include "commands/tail_command.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "base/interrupt.h"
#include "base/messages.h"
#include "base/printable.h"
#include "commands/options.h"
#include "commands/selection_options.h"
#include "ledger/ledger_file.h"
#include "ledger/reader.h"
#include "model/record_text.h"
#include "report/change_text.h"
#include "report/colour.h"
#include "report/json_forms.h"
#include "report/shown.h"
#include "report/table.h"

namespace polaiga::engine {
namespace {

constexpr int kInterval = 200;  // ms between two looks at the ledger
constexpr int kPatience = 10;   // looks, before it is told why a new ledger cannot be read

struct TailOptions {
  std::string ledger;
  std::size_t lines = 10;
  std::optional<ChangeNumber> after;
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

// Waits until the next look; answers whether there is to be one. Nothing else has
// put another file in the place of standard output.
bool wait() {
  std::array<pollfd, 2> watched{{{interrupt_fd(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
  ::poll(watched.data(), watched.size(), kInterval);
  return !interrupted() && (watched[1].revents & (POLLERR | POLLHUP)) == 0;
}

// Whether the record of the input describes what the change did: a record that
// supersedes describes another fault, and a merge is not about a fault at all.
bool describes(const StoredRecord& stored, const Change& change) {
  return change.kind != ChangeKind::kMerged && field_text(stored.record.fault_dn) == change.fault_dn;
}

std::string change_line(const StoredChange& stored, bool coloured, Room room) {
  constexpr std::size_t kNumberWidth = 6;
  constexpr std::size_t kCodeWidth = 5;
  const Change& change = stored.change;
  const auto [dn, code] = parts_of(change.fault_dn);
  const std::string number = std::to_string(change.number);
  std::string line(kNumberWidth - std::min(kNumberWidth, number.size()), ' ');
  line.append(number).append(kGap).append(format_moment(change.at)).append(kGap);
  // A merged alarm is over, but what is wrong goes on.
  if (change.alarm == 0) {  // the change of an object has no severity
    add_padded(line, "", severity_word(Severity::kIndeterminate).size());
  } else {
    add_shown(line, change.kind == ChangeKind::kMerged ? change.before : change.after, coloured);
  }
  line += kGap;
  add_padded(line, printable(code), kCodeWidth);
  line += kGap;
  const bool described = is_of_fault(change.kind) && stored.record && describes(*stored.record, change);
  add_fitted(
      line,
      {.object = printable(dn),
       .description = described ? shown_description(field_text(stored.record->record.descr)) : "",
       .remark = change_text(change) +
                 (is_of_operators(change.kind) ? " " + person_text(stored.action ? &*stored.action : nullptr) : "") +
                 (change.is_folded ? ", chattering" : "")},
      room);
  return line;
}

class Tail {
 public:
  Tail(const TailOptions& options, StandardOutput& output)
      : options_(options), output_(output), coloured_(wants_colour(options.colour, output)) {}

  // Whether nothing was left out.
  bool run() {
    open();
    if (options_.after) {
      begin_after(*options_.after);
    } else {
      print(reader_->latest(options_.selection, options_.lines));
    }
    while (options_.follow && wait()) {
      if (reader_ && reader_->has_changed()) print_new();
      look_for_another();
    }
    return is_whole_;
  }

 private:
  void open() {
    const auto file = identity_of(options_.ledger);
    reader_.emplace(options_.ledger);
    ledger_id_ = reader_->ledger_id();
    file_ = file;
  }

  // Goes on where a reader stopped.
  void begin_after(ChangeNumber number) {
    const ChangeNumber last = reader_->latest({}, 1).through;
    if (number > last) {
      throw LedgerError(options_.ledger + ": there is no change " + std::to_string(number) + "; the last one is " +
                        std::to_string(last) + ". Has another ledger taken the place of the one that was read?");
    }
    through_ = number;
    print_new();
  }

  void print(const ChangesRead& read) {
    if (read.last_lost >= read.first_lost) {
      say(options_.ledger + ": changes " + std::to_string(read.first_lost) + " to " + std::to_string(read.last_lost) +
          " are no longer kept");
    }
    for (const StoredChange& one : read.changes) {
      output_.write(options_.json ? stored_change_form(one, ledger_id_).line()
                                  : change_line(one, coloured_, output_.width()));
    }
    output_.flush();
    if (tell_left_out(*reader_)) is_whole_ = false;
    through_ = read.through;
  }

  void print_new() {
    for (ChangeNumber before = -1; before != through_ && !interrupted();) {
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
      open();
      print_new();
    } catch (const LedgerError& error) {  // it may be in the making
      reader_.reset();
      file_.reset();
      if (++failures_ == kPatience) say(error.what());
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
    say(options_.ledger + (replaced ? ": the ledger was replaced; the new one follows, from its beginning"
                                    : ": the ledger is gone; waiting for a new one"));
  }

  const TailOptions& options_;
  StandardOutput& output_;
  bool coloured_;
  std::optional<LedgerReader> reader_;
  std::string ledger_id_;
  std::optional<FileIdentity> file_;  // of the ledger that is read
  ChangeNumber through_ = 0;
  int failures_ = 0;
  bool is_whole_ = true;
};

Status tail(const TailOptions& options, StandardOutput& output) {
  watch_for_interrupt();
  return Tail(options, output).run() ? kDone : kDamaged;
}

}  // namespace

Command tail_command(CLI::App& program) {
  const auto options = std::make_shared<TailOptions>();
  CLI::App* const app =
      program.add_subcommand("tail", "Print the last changes of the ledger, and new ones as they come");
  app->footer(
      "Example:\n  polaiga tail -n 20 --under sys/rack-unit-1/psu-1\n\n"
      "Each line is a change of an alarm. It begins with the number of the change; numbers\n"
      "have no gaps. A reader that notes the last number it has seen goes on with --after.\n"
      "For --severity a change counts as severe as its fault.\n\n"
      "Ctrl-C ends it, and so does a reader that closes the pipe. When another ledger takes\n"
      "the place of this one, it is followed from its beginning.\n\n"
      "Exit status: 0 when all is well, 1 when damaged rows were left out, 2 when the ledger\n"
      "cannot be read.");
  add_ledger_option(*app, options->ledger);
  CLI::Option* const lines =
      add_number_option(*app, {"-n,--lines", "N", "Begin with the last N changes (default 10)"},
                        {.least = 0, .most = kMostRows, .example = 10},
                        [options](std::int64_t number) { options->lines = static_cast<std::size_t>(number); });
  add_number_option(*app, {"--after", "NUMBER", "Begin with the changes after this number"},
                    {.least = 0, .most = std::numeric_limits<ChangeNumber>::max(), .example = 17},
                    [options](std::int64_t number) { options->after = number; })
      ->excludes(lines);
  add_switch(*app, "--json", "Print JSON Lines, one change a line", options->json);
  add_switch(*app, "--no-follow", "End after the changes that are there", [options] { options->follow = false; });
  add_selection_options(*app, options->selection);
  add_colour_option(*app, options->colour);
  return {app, [options](StandardOutput& output) { return tail(*options, output); }};
}

}  // namespace polaiga::engine
