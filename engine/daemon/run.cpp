#include "daemon/run.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>
#include <csignal>

#include <algorithm>
#include <cerrno>
#include <new>
#include <optional>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/accounts.h"
#include "base/messages.h"
#include "base/service_manager.h"
#include "base/signals.h"
#include "base/unblocked_output.h"
#include "daemon/answers.h"
#include "daemon/clients.h"
#include "daemon/control_request.h"
#include "daemon/engine_state.h"
#include "daemon/library_text.h"
#include "daemon/open_files.h"
#include "daemon/poll_set.h"
#include "daemon/publisher_reports.h"
#include "filter/alarm_profile_file.h"
#include "intake/event_line.h"
#include "ledger/sqlite.h"
#include "report/shown.h"

namespace polaiga::engine {
namespace {

using namespace std::chrono_literals;

constexpr int kMostClients = 64;
constexpr int kMostControlClients = 16;
// A request may name all active alarms that there may be by default, each by a number that follows that before it.
constexpr std::size_t kLongestRequest = std::size_t{256} * 1024;
constexpr int kSpareDescriptors = 16;  // for files that are open for a moment, such as host tables
constexpr std::size_t kMostPublishers = 32;
constexpr std::size_t kMostAnswers = 4096;  // that wait for a write
constexpr std::size_t kRowsOfCheck = 500;
constexpr std::chrono::milliseconds kCheckAtRest{20};   // between two steps of the check of the ledger
constexpr std::chrono::milliseconds kCheckAtWork{500};  // the same while events come
constexpr std::chrono::milliseconds kBetweenChecks = 24h;
constexpr std::chrono::milliseconds kBetweenLimitMessages = 60s;
constexpr std::chrono::milliseconds kIdle{60'000};    // longest wait when there is nothing to do
constexpr std::chrono::milliseconds kQuiet{20};       // after that long without input, all that was sent has come
constexpr std::chrono::milliseconds kRest{100};       // after that long without input, there is time to tidy the ledger
constexpr std::chrono::milliseconds kTidyStep{5};     // from one step of that to the next
constexpr std::chrono::milliseconds kTidyHeld{1000};  // the same while a reader keeps the log from being emptied

// Whether an error may be over by itself, as a full disk may.
bool may_pass(const SqlError& error) {
  constexpr int kPassing[] = {SQLITE_FULL,     SQLITE_IOERR, SQLITE_READONLY, SQLITE_BUSY,     SQLITE_LOCKED,
                              SQLITE_CANTOPEN, SQLITE_NOMEM, SQLITE_PROTOCOL, SQLITE_INTERRUPT};
  return std::ranges::find(kPassing, error.code()) != std::end(kPassing);
}

// Opens the standard streams that are closed, so that no file of the engine's gets
// one of their numbers.
void fill_standard_streams() {
  int fd = STDIN_FILENO;
  while (0 <= fd && fd <= STDERR_FILENO) fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  if (fd >= 0) ::close(fd);
}

Descriptor duplicate(int fd) {
  Descriptor copy(::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!copy.is_open()) throw std::system_error(errno, std::generic_category(), "cannot use a standard stream");
  return copy;
}

class Daemon {
 public:
  // `library_text` is null unless the library's diagnostics are wanted.
  Daemon(const RunOptions& options, const StandardOutput& output, const Clock& clock, Messages& messages,
         LibraryText* library_text)
      : options_(options),
        clock_(clock),
        messages_(messages),
        library_text_(library_text),
        last_words_(std::string(messages.prefix(Priority::kError)) + "What was under way did not end within " +
                    std::to_string(options.end_within.count()) + " s, so the engine ended without it.\n"),
        signals_(kFailed, options.end_within, messages.output(), last_words_),
        manager_(clock),
        state_(options.ledger, options.retention,
               {.platform = options.platform,
                .log = options.log,
                .most_reports = options.most_active,
                .renew_acknowledgements = options.renew_acknowledgements,
                .chattering = options.chattering},
               clock),
        events_("client", options.idle_within, clock, messages),
        controls_("control client", options.idle_within, clock, messages, kLongestRequest) {
    for (const std::string& news : state_.ledger().news()) say(Priority::kError, news);
    for (const std::string& news : state_.recorder().news()) say(Priority::kError, news);
    load_tables();
    if (!options.socket.empty()) events_.listen_at(options.socket);
    if (!options.control.empty()) controls_.listen_at(options.control, options.control_group);
    serves_sockets_ = !options.socket.empty();
    // An engine that was started in the background of a terminal would be stopped for reading what is typed there.
    if (serves_sockets_) std::signal(SIGTTIN, SIG_IGN);
    Descriptor answers = reopened_without_waiting(output.fd());
    events_.add_standard_input(duplicate(STDIN_FILENO),
                               answers.is_open() ? std::move(answers) : duplicate(output.fd()));
    if (!options.socket.empty() || !options.control.empty()) limit_clients();
    say(Priority::kInfo, "ready: " + status());
    manager_.ready(status());
  }

  Status serve() {
    while (!is_over()) {
      const bool is_idle = !wait();
      take_signals();
      if (is_idle && rests()) tidy();
      if (takes() && clock_.steady() >= check_at_) check();
      if (takes()) end_what_is_over();
      if (takes()) take_events();
      take_requests();
      if (problem_) {
        try_again();
      } else if (is_due()) {
        commit();
      }
      give_places();
      messages_.tick();
      manager_.tick();
      manager_.status(status());
    }
    return finish();
  }

 private:
  // An answer that waits until the batch is durable.
  struct Waiting {
    Sender* sender;  // null: it is gone
    std::string text;
  };

  // An event that could not be taken, because the ledger could not be asked about it.
  struct Held {
    Sender* sender;
    SensorEvent event;
  };

  // Why the ledger cannot be used, and what is said when it can be again.
  struct Problem {
    std::string what;
    const char* over;
  };

  void say(Priority priority, const std::string& message) { messages_.say(priority, message); }

  // While the ledger cannot be used, nothing else is taken: senders wait, and memory stays bounded.
  bool takes() const { return !problem_ && !failed_; }

  // Whether all lines that came have been answered, or will be at once.
  bool has_answered_all() const { return !has_unwritten() && !held_; }

  // Whether there is something for commit() to do.
  bool has_unwritten() const { return !waiting_.empty() || ends_something_; }

  // Whether there is nothing to do but to tidy.
  bool rests() const {
    return takes() && !stopping_ && has_answered_all() && !events_.has_line() && !controls_.has_line();
  }

  bool is_over() const {
    if (failed_) return true;
    if (!stopping_) return !serves_sockets_ && events_.is_empty();
    if (clock_.steady() >= stop_by_) return true;
    return drained_ && has_answered_all() && !events_.has_waiting() && !events_.has_answers() &&
           !controls_.has_answers();
  }

  // Everyone who is served or waits takes a descriptor.
  void limit_clients() {
    constexpr int kWanted = 2 * (kMostClients + kMostControlClients);
    constexpr int kLeast = kWanted / kMostControlClients;
    const int free = free_descriptors(kWanted + kSpareDescriptors) - kSpareDescriptors;
    const std::string limit = "This process may have " + std::to_string(open_files_limit()) +
                              " files open (RLIMIT_NOFILE, LimitNOFILE= of the unit)";
    if (free < kLeast) {
      throw std::runtime_error(limit + ", which is not enough to serve anyone; allow " +
                               std::to_string(open_files_limit() - free + kWanted));
    }
    const int part = std::min(free, kWanted);
    const int clients = kMostClients * part / kWanted;
    const int controls = kMostControlClients * part / kWanted;
    if (free < kWanted) {
      say(Priority::kWarning, limit + ", so at most " + std::to_string(clients) + " clients and " +
                                  std::to_string(controls) + " control clients are served at once; " +
                                  std::to_string(open_files_limit() - free + kWanted) + " would be enough for all.");
    }
    events_.limit(clients);
    controls_.limit(controls);
  }

  std::chrono::milliseconds longest_wait() {
    if (takes() && events_.has_line()) return 0ms;
    if (controls_.has_line() && has_room()) return 0ms;
    auto longest = stopping_ ? kQuiet : kIdle;
    if (rests()) longest = std::min(longest, tidy_in_);
    if (takes()) {
      longest = std::min(longest, std::chrono::ceil<std::chrono::milliseconds>(check_at_ - clock_.steady()));
    }
    if (const auto end = takes() ? state_.recorder().until_next_end() : std::nullopt) {
      longest =
          std::min<std::chrono::milliseconds>(longest, std::min(std::chrono::seconds(*end), std::chrono::seconds(60)));
    }
    for (const auto& until : {until_due(), manager_.until_tick(), messages_.until_tick(), events_.until_places(),
                              controls_.until_places()}) {
      if (until) longest = std::min(longest, *until);
    }
    return std::max(0ms, longest);
  }

  // Answers whether something came.
  bool wait() {
    const bool has_line = takes() && events_.has_line();
    polls_.watch(signals_.fd(), POLLIN, [] {});
    if (messages_.waits_for() >= 0) polls_.watch(messages_.waits_for(), POLLOUT, [] {});  // see Messages::tick()
    events_.watch(polls_, takes());
    controls_.watch(polls_, !stopping_);
    const bool was_ready = polls_.wait(longest_wait());
    drained_ = stopping_ && !events_.has_received() && !has_line;
    return was_ready;
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
    say(Priority::kInfo, "stopping");
    manager_.stopping();
    stopping_ = true;
    stop_by_ = clock_.steady() + options_.drain;
    events_.stop_listening();
    controls_.stop_serving();
    due_ = clock_.steady();
    retry_at_ = due_;
  }

  // All files are read before any of them takes effect.
  void load_tables() {
    const auto directory = tables_directory(options_.tables);
    AlarmProfile profile = read_alarm_profile(directory);
    state_.recorder().use_tables(read_host_tables(directory), directory);
    use_profile(std::move(profile));
  }

  // Answers whether the ledger has the profile, too. Until it has, no event is taken.
  bool use_profile(AlarmProfile profile) {
    try {
      state_.recorder().use_profile(std::move(profile));
      profile_waits_ = false;
    } catch (const SqlError& error) {
      profile_waits_ = true;
      stall("write", error);
    }
    return !profile_waits_;
  }

  // What came before was handled under the former tables and is written under them.
  void reload() {
    if (state_.recorder().has_batch() && !commit()) return;
    reload_ = false;
    manager_.reloading();
    try {
      load_tables();
      say(Priority::kInfo, "The tables were loaded again.");
    } catch (const TableError& error) {
      say(Priority::kWarning, std::string(error.what()) + "; the tables stay as they were");
    } catch (const SqlError& error) {
      stall("read", error);
      reload_ = true;
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
        if (!line->event) {
          reject(sender, *line);
        } else if (!take_event(sender, *line->event)) {
          return;
        }
        if (!has_room()) break;
      }
    }
  }

  bool has_room() const { return waiting_.size() < kMostAnswers && !state_.recorder().is_full(); }

  // Answers whether the event was taken. If not, it is held until the ledger can be asked.
  bool take_event(Sender& sender, SensorEvent& event) {
    try {
      const Receipt receipt = state_.recorder().record(std::move(event));
      if (library_text_ != nullptr) library_text_->tell();
      answer(sender, acknowledgement(receipt));
      if (receipt.input != nullptr) watch_input(*receipt.input);
      return true;
    } catch (const SqlError& error) {
      held_ = {&sender, std::move(event)};
      stall("read", error);
      return false;
    }
  }

  // An answer may not pass one that waits, since answers come in the order of the lines.
  void answer(Sender& sender, std::string text) {
    if (!has_unwritten()) due_ = clock_.steady() + options_.commit_within;
    waiting_.push_back({&sender, std::move(text)});
  }

  void reject(Sender& sender, const EventLine& line) {
    answer(sender, refusal(line.complaint));
    ++bad_lines_;
    // A client is told of each of its bad lines; here the first one is enough.
    const bool tell = sender.is_standard_input() || sender.bad_lines == 0;
    ++sender.bad_lines;
    if (tell) say(Priority::kWarning, line.complaint_in(sender.name()));
  }

  void watch_input(const RecordedInput& input) {
    if (const auto seconds = state_.recorder().clock_went_back(); seconds > 0) {
      say(Priority::kWarning,
          "The clock went back by " + std::to_string(seconds) + " s. Numbers keep the order of the events.");
    }
    const bool not_tracked = input.reported && input.outcome == Outcome::kNotTracked;
    if (not_tracked && clock_.steady() >= tell_of_limit_at_) {
      say(Priority::kWarning,
          "The limit of active faults is reached (--max-active " + std::to_string(options_.most_active) +
              "; a fault counts once for each of its reporters). Further faults are recorded, but not tracked.");
      tell_of_limit_at_ = clock_.steady() + kBetweenLimitMessages;
    }
  }

  // A request of each control client, so that one that sends many does not hold up the events. Requests are answered
  // also while the ledger cannot be used: that is when the status is wanted.
  void take_requests() {
    for (Sender& sender : controls_.senders()) {
      // Requests make room for themselves as events do: they wait until the batch is written.
      if (!has_room() && (takes() || waits_for_answer(sender))) continue;
      std::string_view line;
      const auto found = sender.next(line);
      if (found == LineBuffer::Result::kTooLong) {
        reply(sender, refusal("The line is longer than " + std::to_string(kLongestRequest / 1024) +
                              " KiB, which is the limit; select fewer alarms"));
      } else if (found == LineBuffer::Result::kLine && line.find_first_not_of(" \t\r") != std::string_view::npos) {
        answer_request(sender, line);
      }
    }
  }

  bool waits_for_answer(const Sender& sender) const {
    return std::ranges::find(waiting_, &sender, &Waiting::sender) != waiting_.end();
  }

  // An answer that does not wait for the ledger, unless one before it from the same sender does.
  void reply(Sender& sender, std::string text) {
    if (!waits_for_answer(sender)) {
      sender.answer(text);
    } else {
      answer(sender, std::move(text));
    }
  }

  void answer_request(Sender& sender, std::string_view line) {
    try {
      ControlRequest request = parse_control_request(line);
      if (!std::holds_alternative<StatusRequest>(request) && !std::holds_alternative<ActionRequest>(request)) {
        must_move_cursors(sender.user);
      }
      const auto answer_it = [&](auto& one) {
        if constexpr (std::is_same_v<decltype(one), ActionRequest&>) {
          answer(sender, action_answer(act(sender.user, std::move(one))));
        } else {
          reply(sender, carry_out(one));
        }
      };
      std::visit(answer_it, request);
    } catch (const BadRequest& bad) {
      reply(sender, refusal(bad.what()));
    } catch (const ActionRefused& refused) {
      reply(sender, refusal(refused.what()));
    } catch (const SqlError& error) {
      reply(sender,
            refusal("The ledger cannot be used: " + std::string(error.what()) + "; send the request again later"));
    }
  }

  bool is_gateway(uid_t user) const { return std::ranges::find(options_.gateways, user) != options_.gateways.end(); }

  bool is_trusted(uid_t user) const { return user == 0 || user == ::geteuid() || is_gateway(user); }

  bool is_publisher(uid_t user) const {
    return std::ranges::find(options_.publishers, user) != options_.publishers.end();
  }

  // Whoever moves a cursor decides what retention may take. Operators may connect, too, but are not to do that.
  void must_move_cursors(uid_t user) const {
    if (is_trusted(user) || is_publisher(user)) return;
    throw BadRequest(user_name(user) +
                     " may not change the cursors of publishers; root, the engine's own user and the "
                     "users of --gateway and --publisher may");
  }

  // A program that tells changes to others has no business with what operators do.
  void must_be_operator(uid_t user) const {
    if (is_trusted(user) || !is_publisher(user)) return;
    throw BadRequest(user_name(user) + " is the user of a publisher (--publisher) and may not act on alarms");
  }

  // The person is who has connected, or whom a gateway names.
  Receipt act(uid_t user, ActionRequest&& request) {
    must_be_operator(user);
    must_be_usable();
    if (stopping_) throw BadRequest("The engine stops; send the request again when it runs");
    must_be_of_this_ledger(request.ledger_id);
    request.action.person = user_name(user);
    if (request.action.on_behalf_of && !is_gateway(user)) {
      throw BadRequest(request.action.person + " may not act on behalf of others; --gateway of the engine allows it");
    }
    return state_.recorder().act(std::move(request.action));
  }

  // Shelves and maintenance whose time is over.
  void end_what_is_over() {
    if (!state_.recorder().end_what_is_over()) return;
    if (!has_unwritten()) due_ = clock_.steady() + options_.commit_within;
    ends_something_ = true;
  }

  std::string carry_out(const StatusRequest& /*request*/) { return status_answer(current_status()); }

  std::string carry_out(CursorRequest& request) {
    const Ledger& ledger = state_.ledger();
    must_be_of_this_ledger(request.ledger_id);
    if (request.through > ledger.last_change()) {
      throw BadRequest("The cursor is " + std::to_string(request.through) + ", but the last change is " +
                       std::to_string(ledger.last_change()));
    }
    // How a publisher goes is of interest also while no cursor can be written.
    if (reports_.knows(request.publisher)) reports_.keep(request.publisher, request.report, clock_);
    must_be_usable();
    const std::vector<PublisherCursor> cursors = ledger.cursors();
    const auto known = std::ranges::find(cursors, request.publisher, &PublisherCursor::publisher);
    if (known == cursors.end() && cursors.size() >= kMostPublishers) {
      throw BadRequest("There are " + std::to_string(kMostPublishers) +
                       " publishers, which is the limit; forget one that is not used");
    }
    if (known == cursors.end() || !PublisherReports::is_written(*known, request.through, clock_.wall())) {
      state_.ledger().set_cursor(request.publisher, request.through, clock_.wall());
      tidy_in_ = kRest;
    }
    reports_.keep(request.publisher, std::move(request.report), clock_);
    return done();
  }

  std::string carry_out(const ForgetRequest& request) {
    must_be_usable();
    if (!state_.ledger().forget_cursor(request.publisher)) {
      throw BadRequest("There is no publisher '" + request.publisher + "'");
    }
    reports_.forget(request.publisher);
    tidy_in_ = kRest;
    return done();
  }

  void must_be_of_this_ledger(const std::optional<std::string>& id) const {
    if (!id || *id == state_.ledger().id()) return;
    throw BadRequest("The request is for the ledger " + *id + ", but this one is " + state_.ledger().id());
  }

  // Each attempt to write may wait for a while. Control clients do not make the engine wait again and again.
  void must_be_usable() const {
    if (problem_) throw BadRequest("The ledger cannot be used: " + problem_->what + "; send the request again later");
  }

  // Until the batch is to be written or the ledger to be tried again; nothing when there is no need to.
  std::optional<std::chrono::milliseconds> until_due() const {
    if (!has_unwritten() && !problem_) return std::nullopt;
    return std::chrono::ceil<std::chrono::milliseconds>((problem_ ? retry_at_ : due_) - clock_.steady());
  }

  bool is_due() const {
    if (!has_unwritten()) return false;
    // Answers without a batch wait for nothing.
    return stopping_ || !has_room() || !state_.recorder().has_batch() || clock_.steady() >= due_;
  }

  // Answers whether the batch was written.
  bool commit() {
    try {
      state_.recorder().commit();
    } catch (const SqlError& error) {
      stall("write", error);
      return false;
    }
    for (const Waiting& answer : waiting_) {
      if (answer.sender != nullptr) answer.sender->answer(answer.text);
    }
    waiting_.clear();
    ends_something_ = false;
    tidy_in_ = kRest;
    return true;
  }

  // What could not be done is kept and tried again, unless the error will not pass.
  void stall(const char* what, const SqlError& error) {
    const bool is_read = what == std::string_view("read");
    std::string text = options_.ledger + ": cannot " + what + ": " + error.what();
    const bool has_given_up = waits_too_long_for_memory(error);
    failed_ = !may_pass(error) || has_given_up;
    if (has_given_up) {
      say(Priority::kError, text + " for " + std::to_string(options_.memory_within.count()) +
                                " s. The engine stops, because a new start may find memory.");
    } else if (failed_) {
      say(Priority::kError, text);
    } else if (!problem_) {
      say(Priority::kError, text + "; no event is taken until it can be " + (is_read ? "read" : "written"));
    }
    problem_ = {std::move(text), is_read ? "The ledger can be read again." : "The ledger can be written again."};
    retry_at_ = clock_.steady() + options_.retry;
  }

  // Others may give memory back soon. When they do not, it may be this process that has too much of it.
  bool waits_too_long_for_memory(const SqlError& error) {
    if (error.code() != SQLITE_NOMEM) {
      no_memory_since_.reset();
      return false;
    }
    if (!no_memory_since_) no_memory_since_ = clock_.steady();
    return clock_.steady() - *no_memory_since_ >= options_.memory_within;
  }

  void try_again() {
    if (clock_.steady() < retry_at_) return;
    if (has_unwritten() && !commit()) return;
    if (profile_waits_ && !use_profile(state_.recorder().alarms().profile())) return;
    if (held_) {
      Held held = std::move(*held_);
      held_.reset();
      if (!take_event(*held.sender, held.event)) return;
    }
    say(Priority::kNotice, problem_->over);
    problem_.reset();
    no_memory_since_.reset();
  }

  // Takes out some of what is past the retention. An error is told when something is to be written.
  void tidy() {
    try {
      tidy_in_ = state_.ledger().tidy() ? kTidyStep : state_.ledger().size().is_held ? kTidyHeld : kIdle;
    } catch (const SqlError& error) {
      tidy_in_ = kIdle;
      if (!may_pass(error)) stall("write", error);
    }
  }

  // Goes on with checking the ledger, in steps that nobody notices.
  void check() {
    try {
      for (const std::string& found : state_.ledger().check_some(kRowsOfCheck)) {
        say(Priority::kError, options_.ledger + ": the ledger is damaged, but the engine can go on: " + found +
                                  ". `polaiga verify` tells more");
      }
    } catch (const SqlError&) {  // such as of a file that cannot be read now
      check_at_ = clock_.steady() + kIdle;
      return;
    }
    const bool is_done = state_.ledger().check_progress().is_done;
    check_at_ = clock_.steady() + (is_done ? kBetweenChecks : rests() ? kCheckAtRest : kCheckAtWork);
  }

  void give_places() {
    const bool has_waiting = events_.has_waiting();
    // Answers that wait point to those who are to get them.
    if (has_answered_all()) {
      if (drained_ && has_waiting) events_.make_room();
      events_.dismiss([](const Sender& /*sender*/) { return false; });
    }
    // Those who asked how the engine is, and those who do not wait for their answers any more, go also while it cannot
    // write: their places are few.
    if (problem_) forget_gone();
    controls_.dismiss([this](const Sender& sender) { return waits_for_answer(sender); });
    events_.give_places();
    if (has_waiting) drained_ = false;  // nothing has been received yet from those who got a place
    controls_.give_places();
  }

  // Control clients that have hung up get no answers.
  void forget_gone() {
    for (const Sender& sender : controls_.senders()) {
      if (!waits_for_answer(sender) || !sender.has_hung_up()) continue;
      for (Waiting& answer : waiting_) {
        if (answer.sender == &sender) answer.sender = nullptr;
      }
    }
  }

  EngineStatus current_status() const {
    const Recorder& recorder = state_.recorder();
    EngineStatus now;
    now.ledger_id = state_.ledger().id();
    now.build = library_build_;
    now.last_sequence = state_.ledger().last_sequence();
    now.unwritten = recorder.batch().inputs.size();
    now.last_change = state_.ledger().last_change();
    now.active_faults = recorder.alarms().size();
    now.reports = recorder.alarms().reports();
    now.most_reports = options_.most_active;
    now.chattering = recorder.alarms().chattering();
    now.counts = recorder.counts();
    now.times = state_.ledger().write_times();
    now.not_tracked = recorder.alarms().counts().not_tracked;
    now.bad_lines = bad_lines_;
    now.clients = events_.connected();
    now.waiting_clients = events_.waiting();
    if (problem_) now.problem = problem_->what;
    try {
      now.size = state_.ledger().size();
      now.check = state_.ledger().check_progress();
      for (PublisherCursor& cursor : state_.ledger().cursors()) {
        now.publishers.push_back(reports_.status(std::move(cursor), clock_));
      }
    } catch (const SqlError& error) {
      if (!now.problem) now.problem = options_.ledger + ": cannot read: " + error.what();
    }
    return now;
  }

  std::string status() const {
    if (problem_) return problem_->what;
    const Recorder& recorder = state_.recorder();
    const auto not_tracked = recorder.alarms().counts().not_tracked;
    return plural(recorder.alarms().size(), "active fault") + ", " +
           plural(static_cast<std::uint64_t>(state_.ledger().last_sequence()), "input") + ", " +
           plural(bad_lines_, "bad line") +
           (not_tracked > 0 ? ", " + plural(not_tracked, "report") + " beyond the limit" : "");
  }

  Status finish() {
    // What the last batch has is on the disk; who is not told would send it again.
    for (Sender& sender : events_.senders()) sender.send_the_last();
    if (events_.waiting() > 0) {
      const int left = events_.waiting();
      say(Priority::kWarning, plural(static_cast<std::uint64_t>(left), "client") + " that waited " +
                                  (left == 1 ? "was" : "were") + " not served.");
    }
    if (!has_answered_all()) {
      const auto is_sent = [](const RecordedInput& input) { return !input.action || !input.action->person.empty(); };
      const auto lost = static_cast<std::uint64_t>(std::ranges::count_if(state_.recorder().batch().inputs, is_sent)) +
                        (held_ ? 1U : 0U);
      say(Priority::kError,
          plural(lost, "input") + " could not be written and " +
              (lost == 1 ? "was not acknowledged. Send it again." : "were not acknowledged. Send them again."));
      return kFailed;
    }
    if (failed_) return kFailed;
    say(Priority::kInfo, "stopped: " + status());
    return bad_lines_ > 0 && !serves_sockets_ ? kBadLines : kDone;
  }

  const RunOptions& options_;
  const Clock& clock_;
  Messages& messages_;
  LibraryText* library_text_;
  std::string last_words_;
  Signals signals_;
  ServiceManager manager_;
  EngineState state_;
  LibraryBuild library_build_ = library_build();

  PollSet polls_;
  Clients events_;
  Clients controls_;
  bool serves_sockets_ = false;

  PublisherReports reports_;

  std::vector<Waiting> waiting_;                  // the answers to the lines of the batch
  bool ends_something_ = false;                   // the batch has inputs of the engine's own, which nobody waits for
  Clock::Steady due_{};                           // when the batch is to be written
  std::optional<Held> held_;                      // the line that comes next
  std::optional<Problem> problem_;                // then nothing is taken
  Clock::Steady retry_at_{};                      // when the ledger is tried again
  bool failed_ = false;                           // trying again is of no use
  std::optional<Clock::Steady> no_memory_since_;  // of all attempts since then there was none with enough memory
  std::chrono::milliseconds tidy_in_ = kRest;

  bool profile_waits_ = false;  // the ledger does not have it yet
  bool reload_ = false;
  bool stopping_ = false;
  bool drained_ = false;
  Clock::Steady stop_by_{};
  Clock::Steady tell_of_limit_at_{};
  Clock::Steady check_at_{};  // when the check of the ledger goes on
  std::uint64_t bad_lines_ = 0;
};

Status serve(const RunOptions& options, const StandardOutput& output, const Clock& clock, Messages& messages) {
  StandardOutput::divert(Others::kDiscarded);
  std::optional<LibraryText> library_text;
  if (options.log == Log::kDebug) library_text.emplace(messages);
  return Daemon(options, output, clock, messages, library_text ? &*library_text : nullptr).serve();
}

}  // namespace

Status run(const RunOptions& options, StandardOutput& output, const Clock& clock) {
  fill_standard_streams();
  Messages messages(clock);
  try {
    return serve(options, output, clock, messages);
  } catch (const std::bad_alloc&) {
    // What the library has been told may not be in a batch, so nothing is written any more. The next start goes on from
    // the ledger, which has all that was acknowledged.
    messages.say(Priority::kError,
                 "There is no memory left. The engine stops; events that were not acknowledged are to be sent again.");
  } catch (const std::exception& error) {
    messages.say(Priority::kError, error.what());
  }
  return kFailed;
}

}  // namespace polaiga::engine
