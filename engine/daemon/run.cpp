#include "daemon/run.h"

#include <fcntl.h>
#include <signal.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "base/messages.h"
#include "base/signals.h"
#include "daemon/answers.h"
#include "daemon/clients.h"
#include "daemon/control_request.h"
#include "daemon/engine_state.h"
#include "daemon/poll_set.h"
#include "daemon/service_manager.h"
#include "intake/event_line.h"
#include "ledger/sqlite.h"

namespace polaiga::engine {
namespace {

using namespace std::chrono_literals;

constexpr int kMostClients = 64;
constexpr int kMostControlClients = 16;
constexpr std::size_t kMostPublishers = 32;
constexpr std::size_t kMostAnswers = 4096;          // that wait for a write
constexpr std::chrono::milliseconds kIdle{60'000};  // longest wait when there is nothing to do
constexpr std::chrono::milliseconds kQuiet{20};     // after that long without input, all that was sent has come

// Whether an error may be over by itself, as a full disk may.
bool may_pass(const SqlError& error) {
  constexpr int kPassing[] = {SQLITE_FULL, SQLITE_IOERR, SQLITE_READONLY, SQLITE_BUSY, SQLITE_CANTOPEN, SQLITE_NOMEM};
  return std::ranges::find(kPassing, error.code()) != std::end(kPassing);
}

// Opens the standard streams that are closed, so that no file of the engine's gets
// one of their numbers.
void fill_standard_streams() {
  int fd = STDIN_FILENO;
  while (0 <= fd && fd <= STDERR_FILENO) fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  if (fd >= 0) ::close(fd);
}

class Daemon {
 public:
  Daemon(const RunOptions& options, const StandardOutput& output, const Clock& clock)
      : options_(options),
        clock_(clock),
        state_(options.ledger, options.retention,
               {.platform = options.platform, .log = options.log, .most_reports = options.most_active}, clock) {
    for (const std::string& news : state_.ledger().news()) say(news);
    load_tables();
    if (!options.socket.empty()) events_.listen_at(options.socket);
    if (!options.control.empty()) controls_.listen_at(options.control);
    serves_sockets_ = !options.socket.empty();
    events_.add_standard_input(Descriptor(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)),
                               Descriptor(::fcntl(output.fd(), F_DUPFD_CLOEXEC, 3)));
    say("ready: " + status());
    manager_.ready(status());
  }

  Status serve() {
    while (!is_over()) {
      wait();
      take_signals();
      if (takes()) take_events();
      take_requests();
      if (is_due()) commit();
      dismiss();
      manager_.tick();
      manager_.status(status());
    }
    return finish();
  }

 private:
  // An answer that waits until the batch is durable.
  struct Waiting {
    Sender* sender;
    std::string text;
  };

  // While a batch cannot be written, nothing else is taken: senders wait, and memory stays bounded.
  bool takes() const { return !problem_ && !failed_; }

  bool is_over() const {
    if (failed_) return true;
    if (!stopping_) return !serves_sockets_ && events_.is_empty();
    if (clock_.steady() >= stop_by_) return true;
    return drained_ && waiting_.empty() && !events_.has_answers() && !controls_.has_answers();
  }

  std::chrono::milliseconds longest_wait() const {
    if (takes() && events_.has_line()) return 0ms;
    auto longest = stopping_ ? kQuiet : kIdle;
    if (const auto due = until_due()) longest = std::min(longest, *due);
    if (const auto tick = manager_.until_tick()) longest = std::min(longest, *tick);
    return std::max(0ms, longest);
  }

  void wait() {
    const bool has_line = takes() && events_.has_line();
    polls_.watch(signals_.fd(), POLLIN, [] {});
    events_.watch(polls_, takes());
    controls_.watch(polls_, !stopping_);
    polls_.wait(longest_wait());
    drained_ = stopping_ && !events_.has_received() && !has_line;
  }

  void take_signals() {
    while (const auto signal = signals_.take()) {
      if (*signal == SIGHUP) {
        reload_ = true;
      } else if (!stopping_) {
        stop();
      }
    }
    if (reload_ && takes()) reload();
  }

  // From now on only what has been sent already is taken.
  void stop() {
    say("stopping");
    ServiceManager::stopping();
    stopping_ = true;
    stop_by_ = clock_.steady() + options_.drain;
    events_.stop_listening();
    controls_.stop_listening();
    due_ = clock_.steady();
  }

  void load_tables() {
    const auto directory = tables_directory(options_.tables);
    state_.recorder().use_tables(read_host_tables(directory), directory);
  }

  void reload() {
    reload_ = false;
    ServiceManager::reloading();
    try {
      load_tables();
      say("The tables were loaded again.");
    } catch (const TableError& error) {
      say(std::string(error.what()) + "; the tables stay as they were");
    }
    manager_.ready(status());
  }

  // A line of each sender in turn, until there are none or the batch is full.
  void take_events() {
    for (bool more = true; more && has_room();) {
      more = false;
      for (Sender& sender : events_.senders()) {
        std::optional<EventLine> line = sender.next();
        if (!line) continue;
        more = true;
        if (line->event) {
          take_event(sender, std::move(*line->event));
        } else {
          reject(sender, *line);
        }
        if (!has_room()) break;
      }
    }
  }

  bool has_room() const { return waiting_.size() < kMostAnswers && !state_.recorder().is_full(); }

  void take_event(Sender& sender, SensorEvent event) {
    const Receipt receipt = state_.recorder().record(std::move(event));
    answer(sender, acknowledgement(receipt));
    if (receipt.input != nullptr) watch_input(*receipt.input);
  }

  // An answer may not pass one that waits, since answers come in the order of the lines.
  void answer(Sender& sender, std::string text) {
    if (waiting_.empty()) due_ = clock_.steady() + options_.commit_within;
    waiting_.push_back({&sender, std::move(text)});
  }

  void reject(Sender& sender, const EventLine& line) {
    answer(sender, refusal(line.complaint));
    ++bad_lines_;
    // A client is told of each of its bad lines; here the first one is enough.
    const bool tell = sender.is_standard_input() || sender.bad_lines == 0;
    ++sender.bad_lines;
    if (tell) say(line.complaint_in(sender.name()));
  }

  void watch_input(const RecordedInput& input) {
    if (const auto seconds = state_.recorder().clock_went_back(); seconds > 0) {
      say("The clock went back by " + std::to_string(seconds) + " s. Numbers keep the order of the events.");
    }
    const bool not_tracked = input.reported && input.outcome == Outcome::kNotTracked;
    if (not_tracked && !std::exchange(told_of_limit_, true)) {
      say("There are " + std::to_string(options_.most_active) +
          " active faults, which is the limit (--max-active). Further faults are recorded, but not tracked.");
    }
    if (input.reported && !not_tracked && state_.recorder().alarms().reports() < options_.most_active) {
      told_of_limit_ = false;
    }
  }

  // Requests are answered also while the ledger cannot be written: that is when
  // the status is wanted.
  void take_requests() {
    for (Sender& sender : controls_.senders()) {
      std::string_view line;
      for (auto found = sender.next(line); found != LineBuffer::Result::kNone; found = sender.next(line)) {
        if (found == LineBuffer::Result::kTooLong) {
          sender.answer(refusal("The line is longer than 64 KiB"));
        } else if (line.find_first_not_of(" \t\r") != std::string_view::npos) {
          sender.answer(answer_request(line));
        }
      }
    }
  }

  std::string answer_request(std::string_view line) {
    try {
      return std::visit([this](const auto& request) { return carry_out(request); }, parse_control_request(line));
    } catch (const BadRequest& bad) {
      return refusal(bad.what());
    } catch (const SqlError& error) {
      return refusal("The ledger cannot be written: " + std::string(error.what()) + "; send the request again later");
    }
  }

  std::string carry_out(const StatusRequest& /*request*/) { return status_answer(current_status()); }

  std::string carry_out(const CursorRequest& request) {
    const ChangeNumber last = state_.ledger().last_change();
    if (request.through > last) {
      throw BadRequest("The cursor is " + std::to_string(request.through) + ", but the last change is " +
                       std::to_string(last));
    }
    const std::vector<PublisherCursor> cursors = state_.ledger().cursors();
    const bool is_known = std::ranges::find(cursors, request.publisher, &PublisherCursor::publisher) != cursors.end();
    if (!is_known && cursors.size() >= kMostPublishers) {
      throw BadRequest("There are " + std::to_string(kMostPublishers) +
                       " publishers, which is the limit; forget one that is not used");
    }
    state_.ledger().set_cursor(request.publisher, request.through, clock_.wall());
    return done();
  }

  std::string carry_out(const ForgetRequest& request) {
    if (!state_.ledger().forget_cursor(request.publisher)) {
      throw BadRequest("There is no publisher '" + request.publisher + "'");
    }
    return done();
  }

  // Until the batch is to be written; nothing when there is none.
  std::optional<std::chrono::milliseconds> until_due() const {
    if (waiting_.empty()) return std::nullopt;
    return std::chrono::ceil<std::chrono::milliseconds>(due_ - clock_.steady());
  }

  bool is_due() const {
    if (waiting_.empty()) return false;
    if (problem_) return clock_.steady() >= due_;
    // Answers without a batch wait for nothing.
    return stopping_ || !has_room() || !state_.recorder().has_batch() || clock_.steady() >= due_;
  }

  void commit() {
    try {
      state_.recorder().commit();
    } catch (const SqlError& error) {
      stall(error);
      return;
    }
    if (std::exchange(problem_, std::nullopt)) say("The ledger can be written again.");
    for (const Waiting& answer : waiting_) answer.sender->answer(answer.text);
    waiting_.clear();
  }

  // The batch is kept and tried again, unless the error will not pass.
  void stall(const SqlError& error) {
    const std::string what = options_.ledger + ": cannot write: " + error.what();
    failed_ = !may_pass(error);
    if (failed_ || !problem_) say(what + (failed_ ? "" : "; no event is taken until it can be written"));
    problem_ = what;
    due_ = clock_.steady() + options_.retry;
  }

  void dismiss() {
    if (waiting_.empty()) events_.dismiss();
    controls_.dismiss();
  }

  EngineStatus current_status() const {
    const Recorder& recorder = state_.recorder();
    EngineStatus now;
    now.ledger_id = state_.ledger().id();
    now.build = library_build_;
    now.last_sequence = state_.ledger().last_sequence();
    now.waiting = recorder.batch().inputs.size();
    now.last_change = state_.ledger().last_change();
    now.active_faults = recorder.alarms().size();
    now.reports = recorder.alarms().reports();
    now.most_reports = options_.most_active;
    now.not_tracked = recorder.alarms().counts().not_tracked;
    now.bad_lines = bad_lines_;
    now.clients = events_.connected();
    now.size = state_.ledger().size();
    now.publishers = state_.ledger().cursors();
    now.problem = problem_;
    return now;
  }

  std::string status() const {
    if (problem_) return *problem_;
    const Recorder& recorder = state_.recorder();
    const auto not_tracked = recorder.alarms().counts().not_tracked;
    return std::to_string(recorder.alarms().size()) + " active faults, " +
           std::to_string(state_.ledger().last_sequence()) + " events, " + std::to_string(bad_lines_) + " bad lines" +
           (not_tracked > 0 ? ", " + std::to_string(not_tracked) + " reports beyond the limit" : "");
  }

  Status finish() {
    if (!waiting_.empty()) {
      say(std::to_string(state_.recorder().batch().inputs.size()) +
          " events could not be written and were not acknowledged. Send them again.");
      return kFailed;
    }
    say("stopped: " + status());
    return bad_lines_ > 0 && !serves_sockets_ ? kBadLines : kDone;
  }

  const RunOptions& options_;
  const Clock& clock_;
  Signals signals_;
  ServiceManager manager_;
  EngineState state_;
  LibraryBuild library_build_ = library_build();

  PollSet polls_;
  Clients events_{"client", kMostClients};
  Clients controls_{"control client", kMostControlClients};
  bool serves_sockets_ = false;

  std::vector<Waiting> waiting_;        // the answers to the lines of the batch
  Clock::Steady due_{};                 // when the batch is to be written, or tried again
  std::optional<std::string> problem_;  // why the batch could not be written
  bool failed_ = false;

  bool reload_ = false;
  bool stopping_ = false;
  bool drained_ = false;
  Clock::Steady stop_by_{};
  bool told_of_limit_ = false;
  std::uint64_t bad_lines_ = 0;
};

}  // namespace

Status run(const RunOptions& options, StandardOutput& output, const Clock& clock) {
  fill_standard_streams();
  StandardOutput::divert(options.log == Log::kDebug ? Others::kToStandardError : Others::kDiscarded);
  return Daemon(options, output, clock).serve();
}

}  // namespace polaiga::engine
