#include "ledger/ledger.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include "ledger/carry_over.h"
#include "ledger/entry_writer.h"
#include "ledger/pruner.h"
#include "ledger/range_text.h"
#include "ledger/stored_rows.h"
#include "ledger/write_ahead_log.h"
#include "model/record_text.h"

namespace polaiga::engine {
namespace {

// A quarter of the limit is the log's, the rest the file's. A longer log is brought in less often, so that a page that
// changes again and again is written to the file less often.
constexpr std::int64_t kLogPart = 4;
constexpr std::int64_t kMostLogBytes = std::int64_t{32} * 1024 * 1024;

// Pages that an input changes, on the average of a batch, when it has an id, ends
// one fault and begins another.
constexpr std::int64_t kPagesOfInput = 5;
constexpr std::int64_t kMostInputs = 4096;

// How often room is made for one piece of work before it may pass the limit.
constexpr int kMostRefusals = 4;

constexpr std::int64_t kEraInputs = 32'768;
constexpr std::int64_t kEpochInputs = 16 * kEraInputs;
constexpr std::int64_t kEpochPart = 16;  // of the file, for what an epoch repeats

// How long the start of an engine may wait for what is past a retention that was
// lowered.
constexpr std::chrono::milliseconds kStartTidyTime{500};

// How long readers are waited for when the log is full. If one stays longer, the log grows, and now and then a shorter
// wait is enough for those who come and go.
constexpr std::chrono::milliseconds kReaderWait{1000};
constexpr std::chrono::milliseconds kShortReaderWait{50};
constexpr std::chrono::milliseconds kBetweenReaderWaits{1000};
constexpr std::chrono::milliseconds kNoWait{0};

constexpr int kBatchesCheckedAtStart = 16;
constexpr std::size_t kRowsOfCheck = 1000;

std::int64_t log_bytes(const Retention& retention) {
  return retention.bytes > 0 ? std::min(retention.bytes / kLogPart, kMostLogBytes) : kMostLogBytes;
}

std::int64_t file_bytes(const Retention& retention) {
  return retention.bytes > 0 ? retention.bytes - log_bytes(retention) : 0;
}

std::int64_t page_size(const Database& db) {
  Statement size(db, "PRAGMA page_size");
  size.step();
  return std::max<std::int64_t>(size.integer(0), 1);
}

EntryWriter::Limits writer_limits(const Retention& retention) {
  return {.era_inputs = kEraInputs,
          .epoch_inputs = kEpochInputs,
          .epoch_bytes =
              retention.bytes > 0 ? file_bytes(retention) / kEpochPart : std::numeric_limits<std::int64_t>::max()};
}

// A transaction took the file past its limit: it would have so many pages.
struct NoRoom {
  std::int64_t pages;
};

// As long as it lives, a commit does not wait for the disk. What it writes is in
// order with what comes later, and does no harm when a power failure takes it.
class Unhurried {
 public:
  // `still` becomes true if commits do not wait afterwards either, for want of memory.
  Unhurried(Database& db, bool& still) : db_(db), still_(still) { db_.exec("PRAGMA synchronous = NORMAL"); }
  ~Unhurried() {
    try {
      end(db_);
    } catch (const std::exception&) {
      still_ = true;
    }
  }
  Unhurried(const Unhurried&) = delete;
  Unhurried& operator=(const Unhurried&) = delete;

  static void end(Database& db) { db.exec("PRAGMA synchronous = FULL"); }

 private:
  Database& db_;
  bool& still_;
};

// Whether the ledger has this id, as far as can be told.
bool may_be(const std::string& id, const std::string& path) {
  try {
    // Not only to read: what a killed engine was about to write may have to be taken back.
    return ledger_row(Database(path, Access::kReadWrite)).id == id;
  } catch (const LedgerError&) {
    return true;
  } catch (const SqlError&) {
    return true;
  }
}

}  // namespace

class Ledger::Writer {
 public:
  Writer(Database&& db, const Retention& retention)
      : db_(std::move(db)),
        most_log_bytes_(log_bytes(retention)),
        page_size_(page_size(db_)),
        most_pages_(file_bytes(retention) / page_size_),
        log_(db_, retention.bytes > 0 ? most_log_bytes_ : 0),
        entries_(db_, writer_limits(retention)),
        pruner_(db_, retention, most_pages_),
        find_(db_,
              "SELECT seq FROM event WHERE id = ?1 AND (subject IS NULL) = ?2 UNION ALL "
              "SELECT seq FROM former_id WHERE id = ?1 AND is_action = ?2 LIMIT 1"),
        action_(db_, "SELECT " + columns_sql<ActionRow>() + " FROM action WHERE seq = ?"),
        count_actions_(db_, "SELECT count(*) FROM alarm_action WHERE alarm = ?"),
        oldest_event_(db_, "SELECT coalesce(min(seq), 0) FROM event"),
        oldest_change_(db_, "SELECT coalesce(min(number), 0) FROM change") {
    take_position();
    try {
      if (log_.bytes() > 0) log_.empty(kReaderWait);
      const auto end = std::chrono::steady_clock::now() + kStartTidyTime;
      while (tidy() && std::chrono::steady_clock::now() < end) {
      }
    } catch (const SqlError& error) {
      if (is_damage(error)) throw;  // anything else is told when something is to be written
    }
  }

  const Database& db() const { return db_; }

  const Pruner::Position& position() const { return position_; }

  std::string id() const { return ledger_row(db_).id; }

  std::optional<Sequence> find(const std::string& id, InputKind kind) {
    std::optional<Sequence> found;
    if (find_.with(id, kind == InputKind::kAction).step()) found = find_.integer(0);
    find_.reset();
    return found;
  }

  std::optional<OperatorAction> action(Sequence sequence) {
    std::optional<OperatorAction> found;
    try {
      if (action_.with(sequence).step()) {
        const auto row = read_row<ActionRow>(action_);
        found = {.kind = row.kind,
                 .person = row.person,
                 .on_behalf_of = row.on_behalf_of,
                 .comment = row.comment,
                 .dn = row.dn};
      }
    } catch (const DamagedRow&) {  // as if it were gone
    }
    action_.reset();
    return found;
  }

  std::size_t count_actions(ChangeNumber alarm) {
    const std::int64_t count = count_actions_.with(alarm).step() ? count_actions_.integer(0) : 0;
    count_actions_.reset();
    return static_cast<std::size_t>(count);
  }

  void use(const HostTables& tables, const LibraryBuild& build) { entries_.use(tables, build); }

  // Inputs and changes that were lost: numbers go on after them.
  void skip(const GapRow& gap) {
    Transaction transaction(db_);
    Insert<GapRow>{db_}(gap);
    transaction.commit();
    entries_.load();
    take_position();
  }

  void write(const Batch& batch) {
    if (batch.inputs.empty() && batch.filter_state.empty()) return;
    Pruner::Position now = position_;
    if (!batch.inputs.empty()) now.age = batch.inputs.back().age;
    for (const RecordedInput& input : batch.inputs) {
      if (!input.changes.empty()) now.last_change = input.changes.back().number;
    }
    prune(now, batch.inputs.size());
    keep_within([&] { insert(batch); });
    take_position();
    pruner_.filter_state_changed(batch.filter_state);
    bring_in_log_later_if_it_fails();
  }

  void set_profile(const std::string& text) {
    if (has_profile(text)) return;
    keep_within([&] {
      const Unhurried unhurried(db_, is_unhurried_);
      Insert<AlarmProfileRow>{db_,
                              " ON CONFLICT (id) DO UPDATE SET text = excluded.text"}({AlarmProfileRow::kOnly, text});
    });
  }

  void set_cursor(const std::string& publisher, ChangeNumber through, Moment now) {
    keep_within([&] {
      const Unhurried unhurried(db_, is_unhurried_);
      Insert<CursorRow>{db_, " ON CONFLICT (name) DO UPDATE SET change = excluded.change, updated = excluded.updated"}(
          {publisher, std::max<ChangeNumber>(through, 0), std::clamp<Moment>(now, 0, kLastMoment)});
    });
    pruner_.cursors_changed();
  }

  bool forget_cursor(const std::string& publisher) {
    keep_within([&] {
      const Unhurried unhurried(db_, is_unhurried_);
      Statement(db_, "DELETE FROM publisher_cursor WHERE name = ?").with(publisher).run();
    });
    const bool was_there = db_.rows_changed() > 0;
    pruner_.cursors_changed();
    return was_there;
  }

  std::vector<PublisherCursor> cursors() const {
    Statement rows(db_, "SELECT " + columns_sql<CursorRow>() + " FROM publisher_cursor ORDER BY name");
    std::vector<PublisherCursor> cursors;
    while (rows.step()) {
      const auto row = read_row<CursorRow>(rows);
      cursors.push_back({row.name, row.change, row.updated});
    }
    return cursors;
  }

  std::size_t most_inputs() const {
    const std::int64_t fitting = most_log_bytes_ / (kPagesOfInput * page_size_);
    return static_cast<std::size_t>(std::clamp<std::int64_t>(fitting, 1, kMostInputs));
  }

  bool tidy() {
    const bool more = prune(position_, 0);
    bring_in_log();
    return more;
  }

  LedgerSize size() {
    return {.file_bytes = db_.file_bytes(),
            .log_bytes = log_.bytes(),
            .oldest_event = first_integer(oldest_event_),
            .oldest_change = first_integer(oldest_change_),
            .is_too_full = pruner_.is_too_full(),
            .is_held = is_held_};
  }

  const Histogram& sync_times() const { return log_.sync_times(); }

 private:
  // A damaged row is to be written again.
  bool has_profile(const std::string& text) const {
    Statement row(db_, "SELECT " + columns_sql<AlarmProfileRow>() + " FROM profile WHERE id = ?");
    if (!row.with(AlarmProfileRow::kOnly).step()) return text.empty();
    try {
      return read_row<AlarmProfileRow>(row).text == text;
    } catch (const DamagedRow&) {
      return false;
    }
  }

  void take_position() {
    position_ = {entries_.last_sequence(), entries_.last_change(), entries_.last_arrived(), entries_.last_age()};
  }

  bool prune(const Pruner::Position& now, std::size_t inputs) {
    bool more = false;
    keep_within([&] {
      const Unhurried unhurried(db_, is_unhurried_);
      more = pruner_.prune(now, inputs);
    });
    return more;
  }

  // One attempt to write a batch.
  void insert(const Batch& batch) {
    if (is_unhurried_) Unhurried::end(db_);
    is_unhurried_ = false;
    if (entries_are_old_) entries_.load();
    entries_are_old_ = true;  // until it is written
    const std::int64_t pages_before = pruner_.pages();
    const WriteAheadLog::Gathering gathering(log_);  // this commit is synchronised
    Transaction transaction(db_);
    entries_.write(batch);
    const std::int64_t pages = pruner_.pages();
    if (most_pages_ > 0 && !is_over_ && pages > std::max(most_pages_, pages_before)) throw NoRoom{pages};
    db_.reserve(pages * page_size_);
    transaction.commit();
    entries_are_old_ = false;
  }

  // Does work that writes to the ledger. When that would pass the limits, makes room
  // and does it again. When there is no room to be made, because what is needed
  // alone takes it all or because a reader keeps the log, the limits are set aside:
  // no event is lost for them.
  template <class Work>
  void keep_within(Work work) {
    if (db_.in_transaction()) db_.exec("ROLLBACK");  // which could not be done before, for want of memory
    is_over_ = pruner_.is_too_full();
    log_.lift(is_held_);
    std::int64_t wanted = 0;  // pages
    int refusals = 0;
    for (bool log_is_new = false;;) {
      try {
        if (const std::int64_t pages = std::exchange(wanted, 0); pages != 0) {
          const Unhurried unhurried(db_, is_unhurried_);
          is_over_ = !pruner_.make_room(position_, pages);
        }
        work();
        break;
      } catch (const NoRoom& no_room) {
        // There may be room as the pruner sees it, and the work still does not fit.
        if (++refusals == kMostRefusals) is_over_ = true;
        wanted = is_over_ ? 0 : no_room.pages - pruner_.used_pages();
        wanted += wanted / 8;
      } catch (const SqlError& error) {
        if (error.code() != SQLITE_FULL) throw;
        if (!log_.take_refused()) {
          // The disk is full. It may be the log that fills it, for it grows as long as somebody reads.
          if (std::exchange(log_is_new, true) || !can_empty_log()) throw;
          continue;
        }
        empty_log();
        if (is_held_ || log_is_new) log_.lift(true);
        log_is_new = true;
      }
    }
    log_.lift(false);
  }

  // Not while somebody reads, or when even that fails.
  bool can_empty_log() {
    try {
      return log_.empty(kNoWait);
    } catch (const SqlError& error) {
      if (is_damage(error)) throw;
      return false;  // the batch that was to be written fails for its own reason
    }
  }

  // The batch is durable: whoever gave it must not be told otherwise, or it would be written a second time. A full disk
  // may have no space for what the file grows by; the log keeps it, and the next batch tries again.
  void bring_in_log_later_if_it_fails() {
    try {
      bring_in_log();
    } catch (const SqlError& error) {
      if (is_damage(error)) throw;
    }
  }

  // The log is brought in when a good part of it is full. Should a reader still need
  // it then, there is time until all of it is.
  void bring_in_log() {
    const std::int64_t part = most_log_bytes_ / 8;
    const std::int64_t used = log_.used();
    if (used < 5 * part) {
      next_bring_in_ = 5 * part;
      is_held_ = log_.bytes() > most_log_bytes_;
      if (is_held_) empty_log();
    }
    // The file becomes shorter when that is brought in.
    const bool is_long = most_pages_ > 0 && db_.file_bytes() > std::max(most_pages_, pruner_.pages()) * page_size_;
    if (used < next_bring_in_ && !is_long && !(is_held_ && may_wait_again())) return;
    next_bring_in_ = used + part;
    log_.bring_in();
    if (used >= 7 * part) empty_log();
  }

  bool may_wait_again() const { return std::chrono::steady_clock::now() >= wait_again_at_; }

  void empty_log() {
    const auto wait = !is_held_ ? kReaderWait : may_wait_again() ? kShortReaderWait : kNoWait;
    is_held_ = !log_.empty(wait);
    if (wait > kNoWait) wait_again_at_ = std::chrono::steady_clock::now() + kBetweenReaderWaits;
  }

  Database db_;
  std::int64_t most_log_bytes_;
  std::int64_t page_size_;
  std::int64_t most_pages_;
  WriteAheadLog log_;
  EntryWriter entries_;
  Pruner pruner_;
  Statement find_;
  Statement action_;
  Statement count_actions_;
  Statement oldest_event_;
  Statement oldest_change_;
  Pruner::Position position_;
  std::int64_t next_bring_in_ = 0;
  bool entries_are_old_ = false;  // a batch failed, and not all that they know is in the ledger
  bool is_unhurried_ = false;     // commits do not wait for the disk, though they should
  bool is_over_ = false;          // the file may pass its limit this time
  bool is_held_ = false;          // a reader keeps the log from beginning anew
  std::chrono::steady_clock::time_point wait_again_at_{};  // for readers, while the log is held
};

Ledger::Ledger(const std::string& path, const Retention& retention, Moment now)
    : path_(resolve_ledger(path)), retention_(retention), lock_(path_) {
  settle_replacement(path_);
  const std::optional<Mark> mark = read_mark(path_);
  mark_file_.emplace(path_);
  const Beginning beginning{
      .created = now, .after_input = mark ? mark->last_sequence : 0, .after_change = mark ? mark->last_change : 0};
  std::string damage = open(beginning, mark);
  // A read that failed once looks like damage. What is damaged is damaged still.
  if (!damage.empty()) damage = open(beginning, mark);
  if (!damage.empty()) replace(damage, beginning);
  if (mark) go_on_after(*mark, now);
  this->mark(false);
  check_last_batches();
}

// Answers what is damaged; nothing: it is open.
std::string Ledger::open(const Beginning& beginning, const std::optional<Mark>& mark) {
  writer_.reset();
  if (mark && mark->is_damaged && may_be(mark->ledger_id, path_))
    return "the engine found it damaged while it was using it";
  try {
    Database db = open_ledger(path_, *lock_, beginning, mark.has_value());
    try {
      begin(std::move(db));
    } catch (const LedgerError& error) {  // rows that no engine writes are damage, too
      return error.what();
    } catch (const SqlError& error) {
      if (!is_damage(error)) throw LedgerError(path_ + ": cannot open the ledger: " + error.what());
      return error.what();
    }
  } catch (const DamagedLedger& error) {
    return error.what();
  }
  return "";
}

void Ledger::begin(Database&& db) {
  writer_ = std::make_unique<Writer>(std::move(db), retention_);
  id_ = writer_->id();
  restored_ = polaiga::engine::restore(writer_->db());
  log_file_ = identity_of(path_ + "-wal");
}

// The new ledger is complete, and locked, before it comes in the place of the old one.
void Ledger::replace(const std::string& reason, const Beginning& beginning) {
  writer_.reset();
  const CarriedOver carried = carry_over(path_, fresh_path(path_), beginning);
  LedgerLock lock(fresh_path(path_));
  set_aside_ = replace_ledger(path_, beginning.created);
  lock_ = std::move(lock);
  try {
    begin(open_ledger(path_, *lock_, beginning, true));
  } catch (const SqlError& error) {
    throw LedgerError(path_ + ": cannot open the new ledger: " + error.what());
  }
  news_.push_back(path_ + ": the ledger is damaged: " + reason + ". " +
                  (set_aside_.empty() ? "It was empty" : "It was moved to " + set_aside_) +
                  ", and a new one was begun in its place. " + carried.text());
}

// A fault of the disk or a power cut most likely harms what was written last.
void Ledger::check_last_batches() {
  checker_ = std::make_unique<Checker>(writer_->db());
  checker_->only_last(kBatchesCheckedAtStart);
  while (checker_->step(kRowsOfCheck)) {
  }
  for (const Finding& finding : checker_->findings()) {
    news_.push_back(path_ + ": the ledger is damaged, but the engine can go on: " + finding.what +
                    ". `polaiga verify` tells more");
  }
  checker_ = std::make_unique<Checker>(writer_->db());
}

Ledger::CheckProgress Ledger::check_progress() const { return checked_; }

std::vector<std::string> Ledger::check_some(std::size_t rows) {
  std::vector<std::string> found;
  if (!checker_) checker_ = std::make_unique<Checker>(writer_->db());
  const std::size_t before = checker_->findings().size();
  const bool more = checker_->step(rows);
  for (std::size_t i = before; i < checker_->findings().size(); ++i) found.push_back(checker_->findings()[i].what);
  checked_ = {.percent = more ? std::min(checker_->percent(), 99) : 100, .is_done = !more, .found = checker_->found()};
  if (!more) checker_.reset();
  return found;
}

// A process that was killed has acknowledged nothing that its ledger did not have. So a
// ledger that ends before its mark lost its end, or is an earlier copy.
void Ledger::go_on_after(const Mark& mark, Moment now) {
  if (mark.last_sequence <= last_sequence() && mark.last_change <= last_change()) return;
  const GapRow gap{.seq = last_sequence() + 1,
                   .last_seq = std::max(mark.last_sequence, last_sequence()),
                   .change = last_change() + 1,
                   .last_change = std::max(mark.last_change, last_change()),
                   .found = std::clamp<Moment>(now, 0, kLastMoment)};
  try {
    writer_->skip(gap);
  } catch (const SqlError& error) {
    throw LedgerError(path_ + ": cannot write the ledger: " + error.what());
  }
  news_.push_back(path_ + ": the ledger ends before what was acknowledged: " + lost_text(gap) +
                  (mark.ledger_id == id_ ? std::string() : " with the ledger " + mark.ledger_id) +
                  ". These numbers are not given again. Compare the active faults with the hardware.");
}

// What cannot be marked is still durable in the ledger; so a mark that cannot be written
// stops the engine only when it is to begin.
void Ledger::mark(bool is_damaged) {
  mark_file_->write({.ledger_id = id_,
                     .last_sequence = last_sequence(),
                     .last_change = last_change(),
                     .is_damaged = is_damaged,
                     .process = ::getpid()});
}

void Ledger::must_be_in_place() {
  const auto log = identity_of(path_ + "-wal");
  if (!log_file_) log_file_ = log;
  if (lock_->is_in_place(path_) && log && log == log_file_) return;
  throw LedgerError(path_ + ": the ledger, or the log " + path_ +
                    "-wal, was renamed, deleted or replaced while the engine was "
                    "using it. Nothing more is acknowledged. Put the files back or take both away, and start again");
}

// A ledger that turns out to be damaged is replaced by the next start, which knows it
// from the mark.
template <class Work>
auto Ledger::noting_damage(Work work) {
  const auto note = [this] {
    try {
      mark(true);
    } catch (const LedgerError&) {  // the damage is the greater news
    }
  };
  try {
    return work();
  } catch (const DamagedRow&) {
    note();
    throw;
  } catch (const SqlError& error) {
    if (error.code() != SQLITE_CORRUPT && error.code() != SQLITE_NOTADB) throw;
    note();
    throw LedgerError(path_ + ": the ledger is damaged: " + error.what() +
                      ". The next start begins a new one and carries over what proves right");
  }
}

Ledger::~Ledger() = default;
Ledger::Ledger(Ledger&& other) noexcept = default;
Ledger& Ledger::operator=(Ledger&& other) noexcept = default;

Sequence Ledger::last_sequence() const { return writer_->position().last_sequence; }
ChangeNumber Ledger::last_change() const { return writer_->position().last_change; }
Moment Ledger::last_arrived() const { return writer_->position().arrived; }
std::int64_t Ledger::last_age() const { return writer_->position().age; }

std::optional<Sequence> Ledger::find(const std::string& id, InputKind kind) { return writer_->find(id, kind); }
std::optional<OperatorAction> Ledger::action(Sequence sequence) { return writer_->action(sequence); }

std::size_t Ledger::count_actions(ChangeNumber alarm) { return writer_->count_actions(alarm); }
Restored Ledger::restore() {
  if (restored_) return *std::exchange(restored_, std::nullopt);
  try {
    return polaiga::engine::restore(writer_->db());
  } catch (const SqlError& error) {
    throw LedgerError(std::string("cannot read the ledger: ") + error.what());
  }
}

std::vector<RecentRaise> Ledger::recent_raises(std::int64_t age) const {
  return polaiga::engine::recent_raises(writer_->db(), age);
}

void Ledger::use(const HostTables& tables, const LibraryBuild& build) { writer_->use(tables, build); }

void Ledger::write(const Batch& batch) {
  restored_.reset();
  const auto begun = std::chrono::steady_clock::now();
  noting_damage([&] { writer_->write(batch); });
  must_be_in_place();
  mark(false);
  batch_times_.add(std::chrono::steady_clock::now() - begun);
}

void Ledger::set_profile(const std::string& text) {
  noting_damage([&] { writer_->set_profile(text); });
}
void Ledger::set_cursor(const std::string& publisher, ChangeNumber through, Moment now) {
  noting_damage([&] { writer_->set_cursor(publisher, through, now); });
}
bool Ledger::forget_cursor(const std::string& publisher) {
  return noting_damage([&] { return writer_->forget_cursor(publisher); });
}
std::vector<PublisherCursor> Ledger::cursors() const { return writer_->cursors(); }
std::size_t Ledger::most_inputs_in_batch() const { return writer_->most_inputs(); }
bool Ledger::tidy() {
  return noting_damage([&] { return writer_->tidy(); });
}
LedgerSize Ledger::size() const { return writer_->size(); }
WriteTimes Ledger::write_times() const { return {.batches = batch_times_, .syncs = writer_->sync_times()}; }

}  // namespace polaiga::engine
