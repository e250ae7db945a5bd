#include "daemon/run.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <list>
#include <memory>
#include <nlohmann/json.hpp>
#include <unordered_map>
#include <utility>

#include "base/signals.h"
#include "daemon/service_manager.h"
#include "intake/event_parser.h"
#include "intake/line_buffer.h"
#include "intake/listener.h"
#include "intake/sender.h"

namespace polaiga::engine {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int kMostClients = 64;
constexpr std::size_t kMostInBatch = 4096;
constexpr std::chrono::milliseconds kLongestWait{60'000};  // if nothing comes
constexpr std::chrono::milliseconds kDrainWait{20};        // the same, when the engine is to stop
constexpr auto kRetry = 1s;                                // until a ledger that cannot be written is tried again
constexpr auto kDrainTime = 5s;                            // for what is under way when the engine is to stop

void say(const std::string& what) { std::fprintf(stderr, "polaiga: %s\n", what.c_str()); }

// Errors that may be over by themselves: a full disk, one that is read-only.
bool may_pass(const SqlError& error) {
  constexpr int kPassing[] = {SQLITE_FULL, SQLITE_IOERR, SQLITE_READONLY, SQLITE_BUSY, SQLITE_CANTOPEN, SQLITE_NOMEM};
  return std::ranges::find(kPassing, error.code()) != std::end(kPassing);
}

std::string acknowledgement(Sequence sequence, bool duplicate) {
  return "{\"seq\":" + std::to_string(sequence) + (duplicate ? ",\"duplicate\":true}\n" : "}\n");
}

// The engine with the ledger that it was restored from.
struct Kept {
  explicit Kept(const RunOptions& options) : engine(options.platform, options.log) {
    try {
      open(options);
    } catch (const LedgerError&) {
      // What is in it contradicts itself; a file that cannot even be opened has no ledger here.
      if (!ledger) throw;
      replace(options);
    } catch (const SqlError& error) {
      if (error.code() != SQLITE_CORRUPT) throw;
      replace(options);
    }
    if (!set_aside.empty()) say("the ledger was damaged; it is set aside as " + set_aside + ", and a new one is begun");
  }

  FaultEngine engine;
  std::optional<Ledger> ledger;
  FilterState filter_state;
  std::string set_aside;

 private:
  void open(const RunOptions& options) {
    ledger.emplace(options.ledger, options.retention, std::time(nullptr));
    if (set_aside.empty()) set_aside = ledger->set_aside();
    filter_state = ledger->restore(engine);
  }

  void replace(const RunOptions& options) {
    ledger.reset();
    set_aside = set_ledger_aside(options.ledger, std::time(nullptr));
    open(options);
  }
};

// No file of the engine's gets the number of a standard stream that is closed.
void fill_standard_streams() {
  int fd = STDIN_FILENO;
  while (0 <= fd && fd <= STDERR_FILENO) fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  if (fd >= 0) ::close(fd);
}

std::string error_answer(const std::string& what) {
  const nlohmann::json answer{{"error", what}};
  return answer.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

class Run {
 public:
  Run(const RunOptions& options, const StandardOutput& output)
      : options_(options), lock_(options.ledger), kept_(options) {
    load_tables();
    if (!options.socket.empty()) listener_ = std::make_unique<Listener>(options.socket);
    senders_.emplace_back(Sender::Kind::kStandardInput, "<stdin>",
                          Descriptor(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)),
                          Descriptor(::fcntl(output.fd(), F_DUPFD_CLOEXEC, 3)));
    say("ready: " + status());
    manager_.ready(status());
  }

  Status serve() {
    while (!is_over()) {
      wait();
      take_signals();
      if (can_take()) {
        if (std::exchange(waiting_client_, false)) accept();
        collect();
      }
      write();
      dismiss();
      manager_.tick();
      manager_.status(status());
    }
    return finish();
  }

 private:
  // An answer that waits for the batch that its line is in.
  struct Answer {
    Sender* sender;
    std::string text;
  };

  bool is_waiting() const { return !answers_.empty(); }  // a batch that could not be written
  bool can_take() const { return !is_waiting() && !failed_; }

  bool is_over() const {
    if (failed_) return true;
    if (!stopping_) return !listener_ && senders_.empty();
    if (Clock::now() >= drained_by_) return true;
    return drained_ && !is_waiting() &&
           std::ranges::none_of(senders_, [](const Sender& sender) { return sender.has_answers(); });
  }

  bool has_place() const { return std::ranges::count(senders_, false, &Sender::is_standard_input) < kMostClients; }

  std::chrono::milliseconds patience() const {
    auto longest = stopping_ ? kDrainWait : kLongestWait;
    if (is_waiting())
      longest = std::min(longest, std::chrono::ceil<std::chrono::milliseconds>(retry_at_ - Clock::now()));
    if (const auto tick = manager_.until_tick()) longest = std::min(longest, *tick);
    return std::max(0ms, longest);
  }

  // Waits until there is something to do, and receives and sends what there is.
  void wait() {
    std::vector<pollfd> polled{{signals_.fd(), POLLIN, 0}};
    const bool listens = listener_ && can_take() && has_place();
    polled.push_back({listens ? listener_->fd() : -1, POLLIN, 0});
    bool has_lines = false;
    for (const Sender& sender : senders_) {
      const bool receives = can_take() && sender.listens();
      has_lines = has_lines || (can_take() && sender.has_line());
      polled.push_back({receives ? sender.in() : -1, POLLIN, 0});
      polled.push_back({sender.has_answers() ? sender.out() : -1, POLLOUT, 0});
    }
    const int timeout = has_lines ? 0 : static_cast<int>(patience().count());
    if (::poll(polled.data(), polled.size(), timeout) < 0) return;  // interrupted; there is a next time
    bool received = false;
    auto at = polled.begin() + 2;
    for (Sender& sender : senders_) {
      if (at++->revents != 0) {
        sender.receive();
        received = true;
      }
      if (at++->revents != 0) sender.send();
    }
    waiting_client_ = polled[1].revents != 0;
    drained_ = stopping_ && !received && !has_lines;
  }

  void take_signals() {
    while (const auto signal = signals_.take()) {
      if (*signal == SIGHUP) {
        reload_ = true;
      } else if (!stopping_) {
        stop();
      }
    }
    if (reload_ && can_take()) reload();
  }

  // From now on only what has come is taken.
  void stop() {
    say("stopping");
    ServiceManager::stopping();
    stopping_ = true;
    drained_by_ = Clock::now() + kDrainTime;
    // Those who wait have sent what they have; no more than that wait.
    for (int waiting = 0; listener_ && waiting < kMostClients && accept(); ++waiting) {
    }
    waiting_client_ = false;
    listener_.reset();
    retry_at_ = Clock::now();
  }

  void load_tables() {
    const auto directory = tables_directory(options_.tables);
    const HostTables tables = read_host_tables(directory);
    install_host_tables(tables, directory);
    kept_.ledger->use_tables(tables);
  }

  // Tables that are not right change nothing.
  void reload() {
    reload_ = false;
    ServiceManager::reloading();
    try {
      load_tables();
      say("the tables are loaded anew");
    } catch (const TableError& error) {
      say(std::string(error.what()) + "; the tables stay as they were");
    }
    manager_.ready(status());
  }

  // Whether there was someone.
  bool accept() {
    Descriptor connection = listener_->accept();
    if (!connection.is_open()) return false;
    senders_.emplace_back(Sender::Kind::kClient, "client " + std::to_string(++clients_), std::move(connection),
                          Descriptor());
    return true;
  }

  // Those who are done with, unless a batch that waits still knows them.
  void dismiss() {
    if (is_waiting()) return;
    senders_.remove_if([](const Sender& sender) { return sender.is_done(); });
  }

  // A line of each sender in turn, until there are none or the batch is full.
  void collect() {
    bool more = true;
    while (more && answers_.size() < kMostInBatch) {
      more = false;
      for (Sender& sender : senders_) {
        std::string_view line;
        const auto found = sender.next(line);
        if (found == LineBuffer::Result::kNone) continue;
        more = true;
        if (found == LineBuffer::Result::kTooLong) {
          reject(sender, "the line is over 64 KiB long");
        } else {
          take(sender, line);
        }
      }
    }
    batch_.filter_state = kept_.filter_state.take_changes();
  }

  void take(Sender& sender, std::string_view line) {
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) return;
    try {
      SensorEvent event = parse_sensor_event(line);
      if (const auto known = find(event)) {
        answers_.push_back({&sender, acknowledgement(*known, true)});
      } else {
        answers_.push_back({&sender, acknowledgement(handle(std::move(event)), false)});
      }
    } catch (const BadLine& bad) {
      reject(sender, bad.what());
    }
  }

  void reject(Sender& sender, const std::string& what) {
    answers_.push_back({&sender, error_answer(what)});
    ++bad_lines_;
    // Of a client's lines the first says enough here; it is told of all.
    const bool tell = sender.is_standard_input() || sender.bad_lines == 0;
    ++sender.bad_lines;
    if (tell) say(sender.name() + ":" + std::to_string(sender.line_number()) + ": " + what);
  }

  // The number of an event that was taken before.
  std::optional<Sequence> find(const SensorEvent& event) {
    if (!event.id) return std::nullopt;
    if (const auto found = new_ids_.find(*event.id); found != new_ids_.end()) return found->second;
    return kept_.ledger->find(*event.id);
  }

  Sequence handle(SensorEvent event) {
    const Sequence sequence = kept_.ledger->last() + 1 + static_cast<Sequence>(batch_.entries.size());
    const Moment received = clock();
    Handled handled = kept_.engine.handle(event, received, sequence);
    kept_.filter_state.note(sequence, event, handled.record);
    if (event.id) new_ids_.emplace(*event.id, sequence);
    batch_.entries.push_back({sequence, received, std::move(event), std::move(handled)});
    return sequence;
  }

  // Numbers keep the order of events, whatever the clock does.
  Moment clock() {
    const Moment now = std::time(nullptr);
    if (now < latest_) say("the clock went back by " + std::to_string(latest_ - now) + " s");
    return latest_ = now;
  }

  // The batch is written, or kept for another try: what the library has been given
  // cannot be taken back, so nothing else is taken until then.
  void write() {
    if (!is_waiting() || (stalled_ && Clock::now() < retry_at_)) return;
    try {
      if (!batch_.entries.empty()) kept_.ledger->write(batch_);
    } catch (const SqlError& error) {
      stall(error);
      return;
    }
    if (std::exchange(stalled_, false)) say("the ledger can be written again");
    for (const Answer& answer : answers_) answer.sender->answer(answer.text);
    answers_.clear();
    batch_.entries.clear();
    batch_.filter_state.clear();
    new_ids_.clear();
  }

  void stall(const SqlError& error) {
    problem_ = options_.ledger + ": cannot write: " + error.what();
    failed_ = !may_pass(error);
    if (failed_ || !stalled_) say(problem_ + (failed_ ? "" : "; no event is taken until it can be"));
    stalled_ = true;
    retry_at_ = Clock::now() + kRetry;
  }

  std::string status() const {
    if (stalled_) return problem_;
    return std::to_string(kept_.engine.faults().size()) + " active faults, " + std::to_string(kept_.ledger->last()) +
           " events, " + std::to_string(bad_lines_) + " bad lines";
  }

  Status finish() {
    if (is_waiting()) {
      say(std::to_string(batch_.entries.size()) + " events could not be written and were not acknowledged");
      return kFailed;
    }
    say("stopped: " + status());
    return bad_lines_ > 0 && options_.socket.empty() ? kBadLines : kDone;
  }

  const RunOptions& options_;
  LedgerLock lock_;
  Signals signals_;
  ServiceManager manager_;
  Kept kept_;
  std::unique_ptr<Listener> listener_;
  std::list<Sender> senders_;  // answers point to them

  LedgerBatch batch_;
  std::vector<Answer> answers_;
  std::unordered_map<std::string, Sequence> new_ids_;  // of the batch
  bool stalled_ = false;
  bool failed_ = false;
  std::string problem_;
  Clock::time_point retry_at_;

  bool waiting_client_ = false;
  bool reload_ = false;
  bool stopping_ = false;
  bool drained_ = false;
  Clock::time_point drained_by_;

  Moment latest_ = 0;
  std::uint64_t clients_ = 0;
  std::uint64_t bad_lines_ = 0;
};

}  // namespace

Status run(const RunOptions& options, StandardOutput& output) {
  fill_standard_streams();
  StandardOutput::divert(options.log == Log::kDebug ? Others::kToStandardError : Others::kDiscarded);
  return Run(options, output).serve();
}

}  // namespace polaiga::engine
