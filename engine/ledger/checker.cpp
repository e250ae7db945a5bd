#include "ledger/checker.h"

#include <sqlite3.h>

#include <algorithm>
#include <functional>
#include <map>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include "ledger/range_text.h"
#include "ledger/seal.h"
#include "ledger/stored_rows.h"
#include "ledger/tables.h"

namespace polaiga::engine {
namespace {

template <class Row>
std::string key_of() {
  return std::string(std::get<0>(Table<Row>::kColumns).name);
}

// A read transaction, so that all that a step reads is of one moment.
class Reading {
 public:
  explicit Reading(const Database& db) : db_(db) { db_.exec("BEGIN"); }
  ~Reading() {
    if (!db_.in_transaction()) return;
    try {
      db_.exec("ROLLBACK");
    } catch (const std::exception&) {  // the next BEGIN will tell
    }
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

 private:
  const Database& db_;
};

}  // namespace

// The inputs in their order, with their changes, and the digests of their batches.
class Checker::Inputs {
 public:
  Inputs(Checker& checker, const Database& db)
      : checker_(checker),
        db_(db),
        events_(db, select_sql<EventRow>() + " WHERE seq > ? ORDER BY seq LIMIT ?"),
        changes_(db, select_sql<ChangeRow>() + " WHERE number > ? ORDER BY number"),
        subject_(db, select_sql<SubjectRow>() + " WHERE seq = ?"),
        form_(db, select_sql<FormRow>() + " WHERE seq = ?"),
        action_(db, select_sql<ActionRow>() + " WHERE seq = ?"),
        setting_(db, "SELECT " + columns_sql<SettingRow, BuildRow, TablesRow>() +
                         " FROM setting JOIN build ON build.id = setting.build JOIN tables ON tables.id = "
                         "setting.tables WHERE setting.id = ?") {}

  void begin_at_last(int batches) {
    const LedgerRow ledger = ledger_row(db_);
    Statement ends(db_, "SELECT seq FROM event WHERE seal IS NOT NULL AND seq > ? ORDER BY seq DESC LIMIT 1 OFFSET ?");
    if (!ends.with(ledger.watermark_seq, batches).step()) return;
    const Sequence seq = ends.integer(0);
    Statement row(db_, select_sql<EventRow>() + " WHERE seq = ?");
    if (!row.with(seq).step()) return;
    last_ = watermark_ = seq;
    watermark_change_ = ledger.watermark_change;
    Statement changes(db_, "SELECT number, seq FROM change ORDER BY number DESC");
    while (changes.step()) {
      if (changes.integer(1) > seq) continue;
      watermark_change_ = changes.integer(0);
      break;
    }
    last_change_ = watermark_change_;
    try {
      anchor_ = read_row<EventRow>(row).seal;
    } catch (const DamagedRow& damage) {
      checker_.find(damage.what(), seq, seq);
    }
  }

  bool step(std::size_t rows) {
    const Reading reading(db_);
    const LedgerRow ledger = ledger_row(db_);
    newest_ = newest();
    read_gaps();
    follow_watermark(ledger);
    changes_.with(last_change_);
    has_change_ = changes_.step();
    std::size_t read = 0;
    events_.with(last_, static_cast<std::int64_t>(rows));
    while (events_.step()) {
      ++read;
      check_event(ledger);
    }
    events_.reset();
    changes_.reset();
    if (read == rows) return true;
    if (batch_ && last_ > watermark_) {
      checker_.find(
          range_text("input", first_of_batch_, last_) + ": the batch has no end, so rows after it are missing",
          first_of_batch_, last_);
    }
    return false;
  }

  int percent() const {
    return newest_ > watermark_
               ? static_cast<int>(std::clamp<Sequence>(last_ - watermark_, 0, newest_) * 100 / (newest_ - watermark_))
               : 100;
  }

 private:
  Sequence newest() {
    Statement row(db_, "SELECT coalesce(max(seq), 0) FROM event");
    return row.step() ? row.integer(0) : 0;
  }

  void read_gaps() {
    Statement rows(db_, select_sql<GapRow>() + " ORDER BY seq");
    std::vector<GapRow> gaps;
    while (rows.step()) gaps.push_back(read_row<GapRow>(rows));
    gaps_ = std::move(gaps);
  }

  // Retention may have taken what was to come next.
  void follow_watermark(const LedgerRow& ledger) {
    if (ledger.watermark_seq <= watermark_) return;
    watermark_ = ledger.watermark_seq;
    watermark_change_ = ledger.watermark_change;
    if (!has_begun_) return;
    if (last_ < watermark_) {
      last_ = watermark_;
      last_change_ = watermark_change_;
      batch_.reset();
      anchor_.reset();
      is_broken_ = true;
    }
  }

  // The last number before that of the next input: `after`, or the end of a gap that follows it.
  Sequence input_after_gaps(Sequence after) const {
    for (const GapRow& gap : gaps_) {
      if (gap.seq == after + 1 && gap.last_seq >= gap.seq) after = gap.last_seq;
    }
    return after;
  }

  // The same of changes, as far as the gaps come before input `seq`: between two of them there may be an input that
  // changed nothing.
  ChangeNumber change_after_gaps(ChangeNumber after, Sequence seq) const {
    for (const GapRow& gap : gaps_) {
      if (gap.seq <= seq && gap.change == after + 1 && gap.last_change >= gap.change) after = gap.last_change;
    }
    return after;
  }

  void check_event(const LedgerRow& ledger) {
    const Sequence seq = events_.integer(0);
    has_begun_ = true;
    if (seq <= ledger.watermark_seq) {  // kept because something needs it
      check_kept(seq);
      last_ = std::max(last_, seq);
      return;
    }
    if (!in_chain_) enter_chain(ledger);
    const Sequence expected = input_after_gaps(last_) + 1;
    if (seq != expected) {
      checker_.find(range_text("input", expected, seq - 1) + (expected == seq - 1 ? " is" : " are") + " missing",
                    expected, seq - 1);
      is_broken_ = true;
    }
    const ChangeNumber changes_before = change_after_gaps(last_change_, seq);
    if (!batch_ && !is_broken_) {
      first_of_batch_ = seq;
      changes_before_batch_ = changes_before;
    }
    last_ = seq;
    ++checker_.checked_inputs_;
    ++checker_.checked_rows_;
    std::optional<EventRow> event;
    try {
      event = read_row<EventRow>(events_);
    } catch (const DamagedRow& damage) {
      checker_.find(damage.what(), seq, seq);
      is_broken_ = true;
    }
    if (event) begin_batch(*event, ledger.id);
    if (event) check_referred(*event, true);
    if (event && batch_ && !is_broken_) batch_->add(*event);
    if (event && !event->subject) check_one<ActionRow>(action_, actions_, seq, seq, true);
    check_changes(seq);
    if (event && event->seal) end_batch(*event->seal, seq);
  }

  void enter_chain(const LedgerRow& ledger) {
    in_chain_ = true;
    if (last_ < ledger.watermark_seq) last_ = ledger.watermark_seq;
    if (last_change_ < ledger.watermark_change) last_change_ = ledger.watermark_change;
    // Of a ledger that retention shortened, the digest before the first batch is gone.
    if (ledger.watermark_seq == 0 && last_ == 0) anchor_ = Seal{};
    is_broken_ = !anchor_;
    changes_.with(last_change_);
    has_change_ = changes_.step();
  }

  void begin_batch(const EventRow& event, const std::string& ledger_id) {
    if (batch_ || is_broken_) return;
    const std::optional<Seal> setting = setting_of(event.setting, event.seq);
    if (!setting) {
      is_broken_ = true;
      return;
    }
    batch_.emplace(ledger_id, *anchor_, *setting);
  }

  void end_batch(const Seal& seal, Sequence seq) {
    if (batch_ && !is_broken_ &&
        batch_->close(first_of_batch_, seq, changes_before_batch_, std::max(last_change_, changes_before_batch_)) !=
            seal) {
      checker_.find(range_text("input", first_of_batch_, seq) +
                        ": the digest does not match; something of this batch, or the digest before it, was changed",
                    first_of_batch_, seq);
    }
    batch_.reset();
    anchor_ = seal;
    is_broken_ = false;
  }

  void check_kept(Sequence seq) {
    ++checker_.checked_inputs_;
    ++checker_.checked_rows_;
    try {
      check_referred(read_row<EventRow>(events_), false);
    } catch (const DamagedRow& damage) {
      checker_.find(damage.what(), seq, seq);
    }
  }

  // What the event refers to. When it is the first to refer to a row, the row belongs to its batch.
  void check_referred(const EventRow& event, bool in_chain) {
    if (event.subject) check_one<SubjectRow>(subject_, subjects_, *event.subject, event.seq, in_chain);
    if (event.form) check_one<FormRow>(form_, forms_, *event.form, event.seq, in_chain);
    setting_of(event.setting, event.seq);
  }

  template <class Row>
  void check_one(Statement& statement, std::unordered_set<Sequence>& sound, Sequence key, Sequence seq, bool in_chain) {
    const bool is_first = in_chain && key == seq;
    if (!is_first && sound.contains(key)) return;
    const std::string name(Table<Row>::kName);
    try {
      if (!statement.with(key).step()) {
        checker_.find("input " + std::to_string(seq) + ": the " + name + " " + std::to_string(key) +
                          " that it refers to is missing",
                      seq, seq);
        is_broken_ = is_broken_ || in_chain;
        return;
      }
      const Row row = read_row<Row>(statement);
      statement.reset();
      ++checker_.checked_rows_;
      if (sound.size() >= kMostRemembered) sound.clear();
      sound.insert(key);
      if (is_first && batch_ && !is_broken_) batch_->add(row);
    } catch (const DamagedRow& damage) {
      statement.reset();
      checker_.find(std::string(damage.what()) + "; input " + std::to_string(seq) + " refers to it", seq, seq);
      is_broken_ = is_broken_ || is_first;
    }
  }

  std::optional<Seal> setting_of(std::int64_t id, Sequence seq) {
    if (const auto known = settings_.find(id); known != settings_.end()) return known->second;
    std::optional<Seal> digest;
    try {
      if (setting_.with(id).step()) {
        read_row<SettingRow>(setting_);
        const auto build = read_row<BuildRow>(setting_, kWidth<SettingRow>);
        const auto tables = read_row<TablesRow>(setting_, kWidth<SettingRow> + kWidth<BuildRow>);
        digest = setting_digest({tables.nm, tables.cmc, tables.drive_bp}, {build.build_id, build.version});
      } else {
        checker_.find(
            "input " + std::to_string(seq) + ": the host tables or the build that it was handled under are missing",
            seq, seq);
      }
    } catch (const DamagedRow& damage) {
      checker_.find(std::string(damage.what()) + "; input " + std::to_string(seq) + " was handled under it", seq, seq);
    }
    setting_.reset();
    settings_[id] = digest;
    return digest;
  }

  void check_changes(Sequence seq) {
    while (has_change_) {
      const ChangeNumber number = changes_.integer(0);
      // A damaged row is told with the input that it names, if there is such an input.
      const Sequence named = changes_.integer(1);
      if (named > seq && named <= newest_) return;
      const ChangeNumber expected = change_after_gaps(last_change_, seq) + 1;
      std::optional<ChangeRow> change;
      try {
        change = read_row<ChangeRow>(changes_);
      } catch (const DamagedRow& damage) {
        checker_.find(damage.what(), seq, seq);
        is_broken_ = true;
      }
      if (change && change->seq > seq) return;
      if (change && change->seq < seq) {
        checker_.find("change " + std::to_string(number) + ": its input " + std::to_string(change->seq) + " is missing",
                      change->seq, change->seq);
        is_broken_ = true;
      }
      if (number != expected) {
        checker_.find(
            range_text("change", expected, number - 1) + (expected == number - 1 ? " is" : " are") + " missing", seq,
            seq);
        is_broken_ = true;
      }
      last_change_ = number;
      ++checker_.checked_changes_;
      ++checker_.checked_rows_;
      if (change && batch_ && !is_broken_) batch_->add(*change);
      has_change_ = changes_.step();
    }
  }

  static constexpr std::size_t kMostRemembered = 100'000;

  Checker& checker_;
  const Database& db_;
  Statement events_;
  Statement changes_;
  Statement subject_;
  Statement form_;
  Statement action_;
  Statement setting_;
  std::vector<GapRow> gaps_;
  bool has_change_ = false;
  bool has_begun_ = false;
  bool in_chain_ = false;
  bool is_broken_ = false;  // the rows of this batch are not whole, or the digest before it is not known
  Sequence last_ = 0;
  ChangeNumber last_change_ = 0;
  Sequence watermark_ = 0;
  ChangeNumber watermark_change_ = 0;
  Sequence newest_ = 0;
  std::optional<Seal> anchor_;  // the digest before the batch
  std::optional<BatchSeal> batch_;
  Sequence first_of_batch_ = 0;
  ChangeNumber changes_before_batch_ = 0;
  std::unordered_set<Sequence> subjects_;  // that were found sound
  std::unordered_set<Sequence> forms_;
  std::unordered_set<Sequence> actions_;
  std::map<std::int64_t, std::optional<Seal>> settings_;
};

// The rows of all other tables.
class Checker::Tables {
 public:
  Tables(Checker& checker, const Database& db) : checker_(checker), db_(db) {
    add<SubjectRow>();
    add<FormRow>();
    add<EraRow>();
    add<AlarmRow>();
    add<FaultRow>();
    add<StepRow>();
    add<ReportRow>();
    add<ShownAgainRow>();
    add<StandingRow>();
    add<BuildRow>();
    add<TablesRow>();
    add<SettingRow>();
    add<FilterStateRow>();
    add<AlarmProfileRow>();
    add<CursorRow>();
    add<GapRow>();
    add<FormerIdRow>();
    add<ActionRow>();
    add<AlarmActionRow>();
    add<MaintenanceRow>();
    add<ChatteringRow>();
  }

  bool step(std::size_t rows) {
    const Reading reading(db_);
    if (!checks_[next_](rows)) {
      ++next_;
      key_ = -1;
    }
    return next_ < checks_.size();
  }

 private:
  template <class Row>
  void add() {
    checks_.emplace_back([this](std::size_t rows) { return check<Row>(rows); });
  }

  // Goes on after key_, to the end of the rows of one key. Answers whether there are more.
  template <class Row>
  bool check(std::size_t rows) {
    constexpr bool kByNumber = std::is_integral_v<
        std::remove_cvref_t<decltype(columns::of(std::get<0>(Table<Row>::kColumns), std::declval<Row&>()))>>;
    const std::string key = key_of<Row>();
    Statement statement(db_,
                        select_sql<Row>() + (kByNumber ? " WHERE " + key + " > ? ORDER BY " + key : std::string()));
    if (kByNumber) statement.with(key_);
    std::size_t read = 0;
    while (statement.step()) {
      const std::int64_t at = kByNumber ? statement.integer(0) : 0;
      if (kByNumber && read >= rows && at != key_) return true;
      if (kByNumber && at < key_) {
        checker_.find(std::string(Table<Row>::kName) + " " + std::to_string(at) + ": the row is in a wrong place");
        return false;
      }
      key_ = at;
      ++read;
      ++checker_.checked_rows_;
      try {
        read_row<Row>(statement);
      } catch (const DamagedRow& damage) {
        checker_.find(damage.what());
      }
    }
    return false;
  }

  Checker& checker_;
  const Database& db_;
  std::vector<std::function<bool(std::size_t)>> checks_;
  std::size_t next_ = 0;
  std::int64_t key_ = -1;
};

Checker::Checker(const Database& db)
    : db_(db), inputs_(std::make_unique<Inputs>(*this, db)), tables_(std::make_unique<Tables>(*this, db)) {
  Statement gaps(db, select_sql<GapRow>() + " ORDER BY seq");
  while (gaps.step()) {
    const auto gap = read_row<GapRow>(gaps);
    known_gaps_.push_back(lost_text(gap) + " before " + format_moment(gap.found));
  }
}

Checker::~Checker() = default;

void Checker::only_last(int batches) {
  only_last_ = true;
  const Reading reading(db_);
  inputs_->begin_at_last(batches);
}

bool Checker::step(std::size_t rows) {
  try {
    if (inputs_) {
      if (inputs_->step(rows)) return true;
      inputs_.reset();
      return !only_last_;
    }
    if (tables_ && !only_last_ && tables_->step(rows)) return true;
    tables_.reset();
    return false;
  } catch (const LedgerError& error) {
    find(error.what());
  } catch (const SqlError& error) {
    if (error.code() == SQLITE_NOMEM) throw;  // that says nothing about the file
    find(std::string("the structure of the file is damaged: ") + error.what());
  }
  // What cannot be gone on with is left; the rest is still checked.
  if (inputs_) {
    inputs_.reset();
    return !only_last_;
  }
  tables_.reset();
  return false;
}

void Checker::check_as_a_whole() {
  try {
    Statement check(db_, "PRAGMA integrity_check(" + std::to_string(kMostFindings) + ")");
    while (check.step()) {
      if (check.text(0) != "ok") find("the structure of the file is damaged: " + std::string(check.text(0)));
    }
    const Reading reading(db_);
    StoredRows rows(db_);
    const auto texts = [](const std::vector<ActiveRow>& active) {
      std::vector<std::string> faults;
      faults.reserve(active.size());
      for (const ActiveRow& row : active) {
        faults.push_back(row.fault.fault_dn + ", " + std::string(severity_word(row.fault.severity)) +
                         ", shown as of input " + std::to_string(row.fault.shown) + ", with " +
                         std::to_string(row.fault.reporters) + " reporters");
      }
      std::ranges::sort(faults);
      return faults;
    };
    const auto by_reports = texts(rows.active());
    const auto by_changes = texts(rows.active_at(kLastMoment));
    if (!known_gaps_.empty()) return;  // the changes that were lost are missing from one of the two
    check_chattering();
    std::vector<std::string> differing;
    std::ranges::set_symmetric_difference(by_reports, by_changes, std::back_inserter(differing));
    for (const std::string& fault : differing) {
      find("the changes and the reports do not agree whether this fault is active, and how: " + fault);
    }
  } catch (const LedgerError& error) {
    find(error.what());
  } catch (const SqlError& error) {
    if (error.code() == SQLITE_NOMEM) throw;  // that says nothing about the file
    find(std::string("the structure of the file is damaged: ") + error.what());
  }
}

// What is chattering now is what the changes say, as far as they reach back.
void Checker::check_chattering() {
  const ChangeNumber gone = ledger_row(db_).watermark_change;
  Statement changes(db_,
                    "SELECT change.number, change.kind, coalesce(form.fault_dn, action.dn) FROM change "
                    "LEFT JOIN fault ON fault.number = change.fault LEFT JOIN event ON event.seq = fault.raised_seq "
                    "LEFT JOIN form ON form.seq = event.form LEFT JOIN action ON action.seq = change.seq "
                    "WHERE change.kind IN (?, ?) ORDER BY change.number");
  changes.with(static_cast<int>(ChangeKind::kChattering), static_cast<int>(ChangeKind::kSettled));
  std::map<std::string, ChangeNumber> by_changes;
  while (changes.step()) {
    const std::string fault_dn(changes.text(2));
    if (changes.integer(1) == static_cast<int>(ChangeKind::kChattering)) {
      by_changes[fault_dn] = changes.integer(0);
    } else {
      by_changes.erase(fault_dn);
    }
  }
  const auto differ = [this](const std::string& fault_dn) {
    find("the changes and the list of chattering faults do not agree whether this fault is chattering: " + fault_dn);
  };
  Statement rows(db_, select_sql<ChatteringRow>());
  while (rows.step()) {
    const auto row = read_row<ChatteringRow>(rows);
    const auto change = by_changes.find(row.fault_dn);
    if (row.change > gone && (change == by_changes.end() || change->second != row.change)) differ(row.fault_dn);
    if (change != by_changes.end()) by_changes.erase(change);
  }
  for (const auto& [fault_dn, change] : by_changes) differ(fault_dn);
}

int Checker::percent() const { return inputs_ ? inputs_->percent() : 100; }

void Checker::find(std::string what, Sequence first, Sequence last) {
  ++found_;
  if (findings_.size() < kMostFindings) findings_.push_back({std::move(what), first, last});
}

}  // namespace polaiga::engine
