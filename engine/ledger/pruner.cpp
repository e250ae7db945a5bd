#include "ledger/pruner.h"

#include <algorithm>
#include <set>
#include <utility>

namespace polaiga::engine {
namespace {

constexpr Moment kDay = Moment{24} * 60 * 60;

// Inputs that are taken out in one transaction.
constexpr std::int64_t kLeastStep = 16;
constexpr std::int64_t kMostStep = 1024;

// Inputs that are taken out with a batch, at most, beside two for each of its own.
constexpr std::int64_t kMostWithBatch = 1024;

// Taking out a few inputs costs nearly as much as taking out many. So retention by
// count and by age waits until this part of what is kept is too much, though never
// for more than so many inputs.
constexpr std::int64_t kSlackPart = 64;
constexpr std::int64_t kMostSlack = 256;
constexpr std::int64_t kAgeSlackPart = 1024;

// Of 64 parts of the file, so many may be in use before inputs are taken out, and
// so many are left in use then. The rest is for the next batches.
constexpr std::int64_t kParts = 64;
constexpr std::int64_t kHighParts = 60;
constexpr std::int64_t kLowParts = 59;

// Pages that are given back with a batch.
constexpr std::int64_t kLeastGivenBack = 16;
constexpr std::int64_t kMostGivenBack = 1024;
constexpr std::int64_t kKeptFree = 1024;

template <class Row>
std::vector<Row> all_rows(Statement& statement) {
  std::vector<Row> rows;
  while (statement.step()) rows.push_back(read_row<Row>(statement));
  statement.reset();
  return rows;
}

// Rows of which a damaged one is to go like any other: nothing can be told of it but its number.
template <class Row>
struct RowsToGo {
  std::vector<Row> rows;
  std::vector<std::int64_t> damaged;
};

template <class Row>
RowsToGo<Row> rows_to_go(Statement& statement) {
  RowsToGo<Row> found;
  while (statement.step()) {
    try {
      found.rows.push_back(read_row<Row>(statement));
    } catch (const DamagedRow&) {
      found.damaged.push_back(statement.integer(0));
    }
  }
  statement.reset();
  return found;
}

bool ends_fault(ChangeKind kind) {
  return kind == ChangeKind::kCleared || kind == ChangeKind::kSuperseded || kind == ChangeKind::kWithdrawn;
}

bool ends_alarm(ChangeKind kind) {
  return kind == ChangeKind::kCleared || kind == ChangeKind::kMerged || kind == ChangeKind::kWithdrawn;
}

}  // namespace

Pruner::Statements::Statements(const Database& db)
    : pages(db, "PRAGMA page_count"),
      free_pages(db, "PRAGMA freelist_count"),
      events(db, select_sql<EventRow>() + " WHERE seq > ? AND seq <= ? ORDER BY seq"),
      changes(db, select_sql<ChangeRow>() + " WHERE number > ? ORDER BY number"),
      next_change(db, "SELECT seq FROM change WHERE number > ? ORDER BY number LIMIT 1"),
      drop_event(db, "DELETE FROM event WHERE seq = ?"),
      drop_change(db, "DELETE FROM change WHERE number = ?"),
      drop_fault(db, "DELETE FROM fault WHERE number = ?"),
      fault(db, select_sql<FaultRow>() + " WHERE number = ?"),
      drop_step(db, "DELETE FROM step WHERE fault = ?1 AND alarm IN (?2, ?3)"),
      drop_steps(db, "DELETE FROM step WHERE alarm = ?"),
      drop_alarm(db, "DELETE FROM alarm WHERE number = ?"),
      drop_alarm_actions(db, "DELETE FROM alarm_action WHERE alarm = ?"),
      // What took an object out of service stays as long as the object was so at the watermark: what happened since
      // does not tell it.
      drop_actions(db,
                   "DELETE FROM action WHERE seq <= ?1 AND seq NOT IN (SELECT seq FROM alarm_action) "
                   "AND seq NOT IN (SELECT seq FROM maintenance) AND NOT (kind = ?2 AND dn <> '' AND seq = "
                   "(SELECT max(seq) FROM action AS one WHERE one.dn = action.dn AND one.dn <> '' AND one.seq <= ?1))"),
      drop_shown_again(db, "DELETE FROM shown_again WHERE seq = ? AND change = ?"),
      needed(db,
             "SELECT EXISTS (SELECT 1 FROM fault WHERE number = ?1 AND ?2 IN (raised_seq, shown_seq)) OR "
             "EXISTS (SELECT 1 FROM report WHERE fault = ?1 AND ?2 IN (since_seq, last_seq)) OR "
             "EXISTS (SELECT 1 FROM standing WHERE era = ?3 AND fault = ?1 AND shown = ?2) OR "
             "EXISTS (SELECT 1 FROM shown_again WHERE seq = ?2)"),
      era_of(db, "SELECT seq FROM era WHERE seq <= ? ORDER BY seq DESC LIMIT 1"),
      next_era(db, "SELECT seq FROM era WHERE seq > ? ORDER BY seq LIMIT 1"),
      standing(db, select_sql<StandingRow>() + " WHERE era = ? AND fault = ?"),
      drop_standing(db, "DELETE FROM standing WHERE era = ? AND fault = ?"),
      drop_era_standing(db, "DELETE FROM standing WHERE era = ?"),
      add_standing(db,
                   " ON CONFLICT (era, fault) DO UPDATE SET alarm = excluded.alarm, severity = excluded.severity, "
                   "shown = excluded.shown, "
                   "reporters = excluded.reporters, updated_at = excluded.updated_at, count = excluded.count"),
      move_watermark(db, "UPDATE ledger SET watermark_seq = ?, watermark_change = ?, watermark_at = ?"),
      survivors(db, select_sql<EventRow>() + " WHERE seq >= ? AND seq < ? ORDER BY seq"),
      said(db, "SELECT subject, form FROM event WHERE seq >= ? AND seq < ?"),
      epoch_of(db, "SELECT epoch FROM era WHERE seq = ?"),
      next_epoch(db, "SELECT min(epoch) FROM era WHERE epoch > ?"),
      forms(db, "SELECT seq FROM form WHERE seq >= ? AND seq < ?"),
      subjects(db, "SELECT seq FROM subject WHERE seq >= ? AND seq < ?"),
      drop_form(db, "DELETE FROM form WHERE seq = ?"),
      drop_subject(db, "DELETE FROM subject WHERE seq = ?"),
      drop_era(db, "DELETE FROM era WHERE seq = ?"),
      least_cursor(db, "SELECT min(change) FROM publisher_cursor") {}

Pruner::Pruner(Database& db, const Retention& retention, std::int64_t most_pages)
    : db_(db), retention_(retention), most_pages_(most_pages), sql_(db), watermark_(ledger_row(db)) {
  Statement remembered(db, select_sql<FilterStateRow>());
  for (auto& row : all_rows<FilterStateRow>(remembered)) filter_state_[row.slot].push_back(row.seq);
  Statement former_ids(db, "SELECT EXISTS (SELECT 1 FROM former_id)");
  has_former_ids_ = first_integer(former_ids) != 0;
  cursors_changed();
}

void Pruner::filter_state_changed(const std::map<Slot, std::vector<Sequence>>& changed) {
  for (const auto& [slot, sequences] : changed) filter_state_[slot] = sequences;
  if (!changed.empty()) remembered_is_old_ = true;
}

void Pruner::cursors_changed() {
  least_cursor_.reset();
  if (sql_.least_cursor.step() && !sql_.least_cursor.is_null(0)) least_cursor_ = sql_.least_cursor.integer(0);
  sql_.least_cursor.reset();
}

std::int64_t Pruner::pages() { return first_integer(sql_.pages); }

std::int64_t Pruner::used_pages() { return pages() - first_integer(sql_.free_pages); }

bool Pruner::is_past(std::int64_t parts) { return most_pages_ > 0 && used_pages() > most_pages_ / kParts * parts; }

// The newest input always stays: the next one goes on from it.
Sequence Pruner::last_prunable(const Position& now) { return std::max<Sequence>(now.last_sequence - 1, 0); }

Sequence Pruner::through_count(const Position& now, std::size_t inputs) const {
  if (retention_.events <= 0) return 0;
  const Sequence through = now.last_sequence + static_cast<Sequence>(inputs) - retention_.events;
  const std::int64_t slack = std::clamp<std::int64_t>(retention_.events / kSlackPart, 1, kMostSlack);
  return through - watermark_.watermark_seq >= slack ? through : 0;
}

Sequence Pruner::through_age(const Position& now, std::int64_t most) {
  if (retention_.days <= 0) return 0;
  const std::int64_t kept_from = now.age - retention_.days * kDay;
  const std::int64_t slack = retention_.days * kDay / kAgeSlackPart;
  Sequence through = 0;
  sql_.events.with(watermark_.watermark_seq, watermark_.watermark_seq + most);
  while (sql_.events.step()) {
    try {
      const auto event = read_row<EventRow>(sql_.events);
      if (event.age_in(watermark_.created) >= kept_from - (through == 0 ? slack : 0)) break;
      through = event.seq;
    } catch (const DamagedRow&) {  // it goes with the next one that is old enough
    }
  }
  sql_.events.reset();
  return through;
}

Sequence Pruner::held_by_cursors(const Position& now) {
  if (!least_cursor_) return now.last_sequence;
  ChangeNumber held = *least_cursor_;
  if (retention_.held_changes > 0) held = std::max(held, now.last_change - retention_.held_changes);
  const Sequence next = first_integer(sql_.next_change.with(held));
  return next > 0 ? next - 1 : now.last_sequence;
}

bool Pruner::prune(const Position& now, std::size_t inputs) {
  const Sequence last = last_prunable(now);
  const std::int64_t most = kMostWithBatch + 2 * static_cast<std::int64_t>(inputs);
  const Sequence wanted = std::max(through_count(now, inputs), through_age(now, most));
  const Sequence through = wanted > 0 ? std::min({wanted, held_by_cursors(now), last}) : 0;
  const Sequence stop = watermark_.watermark_seq + most;
  while (watermark_.watermark_seq < std::min(through, stop)) step(std::min(through, stop), kMostStep);
  if (is_past(kHighParts)) {
    while (watermark_.watermark_seq < std::min(last, stop) && is_past(kLowParts))
      step(std::min(last, stop), part(last));
    if (watermark_.watermark_seq >= last && !is_too_full_) make_room(now, most_pages_ / kParts * (kParts - kHighParts));
  }
  if (watermark_.watermark_seq >= sweep_from_) sweep_next();
  is_too_full_ = is_too_full_ && is_past(kLowParts);
  const bool gave_back = give_back();
  return watermark_.watermark_seq < through || (is_past(kHighParts) && !is_too_full_) || gave_back;
}

bool Pruner::make_room(const Position& now, std::int64_t pages) {
  const auto has_room = [&] { return most_pages_ - used_pages() >= pages; };
  const Sequence last = last_prunable(now);
  while (!has_room() && watermark_.watermark_seq < last) step(last, part(last));
  if (has_room()) return true;
  if (is_too_full_) return false;  // all that could go is gone
  swept_ = 0;
  while (!has_room() && sweep_next()) {
  }
  is_too_full_ = !has_room();
  return !is_too_full_;
}

// The era in which the oldest input that is kept lies, or that of the newest when
// none is.
Sequence Pruner::base_era() { return first_integer(sql_.era_of.with(watermark_.watermark_seq + 1)); }

// So many inputs that about as much is taken out for the limit of bytes as is past it.
std::int64_t Pruner::part(Sequence last) const {
  return std::clamp((last - watermark_.watermark_seq) / kParts, kLeastStep, kMostStep);
}

void Pruner::step(Sequence through, std::int64_t most) {
  const Sequence after = watermark_.watermark_seq;
  const Sequence era = base_era();
  const Sequence end = first_integer(sql_.next_era.with(std::max(era, after + 1)));
  through = std::min(through, after + most);
  if (end > 0) through = std::min(through, end - 1);
  const bool era_goes = end > 0 && through == end - 1;

  Transaction transaction(db_);
  const auto [events, damaged] = rows_to_go<EventRow>(sql_.events.with(after, through));
  LedgerRow watermark = watermark_;
  watermark.watermark_seq = through;
  for (const EventRow& event : events) {
    // A source may say any time; what it says of the future does not count.
    watermark.watermark_at = std::max(watermark.watermark_at, std::min(event.moment(), event.arrival()));
  }
  std::set<Sequence> left;  // inputs taken out earlier but for what was needed then
  watermark.watermark_change = drop_changes(events, through, era, era_goes, left);
  for (const std::int64_t seq : damaged) sql_.drop_event.with(seq).run();
  if (era_goes) sql_.drop_era_standing.with(era).run();
  for (const EventRow& event : events) {
    if (!is_needed(event, era_goes ? end : era)) sql_.drop_event.with(event.seq).run();
  }
  for (const Sequence sequence : left) {
    drop_unneeded(sequence, sequence + 1, era_goes ? end : era);
  }
  const bool has_actions = std::ranges::any_of(events, [](const EventRow& event) { return !event.subject; });
  if (has_actions || std::exchange(dropped_alarm_actions_, false)) {
    sql_.drop_actions.with(through, static_cast<int>(ActionKind::kMaintain)).run();
  }
  if (has_former_ids_) db_.exec("DELETE FROM former_id");
  sql_.move_watermark.with(watermark.watermark_seq, watermark.watermark_change, watermark.watermark_at).run();
  if (era_goes) sweep(era, end, end);
  transaction.commit();
  watermark_ = watermark;
  has_former_ids_ = false;  // they were older than all that is taken out now
}

// Takes out the changes of these inputs with the faults and alarms that they
// ended. What remains of the era says what was active after them.
ChangeNumber Pruner::drop_changes(const std::vector<EventRow>& events, Sequence through, Sequence era, bool era_goes,
                                  std::set<Sequence>& left) {
  std::vector<ChangeRow> changes;
  ChangeNumber last = watermark_.watermark_change;
  std::vector<ChangeNumber> damaged;  // those before one that is to go
  sql_.changes.with(watermark_.watermark_change);
  while (sql_.changes.step()) {
    try {
      const auto change = read_row<ChangeRow>(sql_.changes);
      if (change.seq > through) break;
      for (const ChangeNumber number : std::exchange(damaged, {})) sql_.drop_change.with(number).run();
      last = change.number;
      changes.push_back(change);
    } catch (const DamagedRow&) {
      damaged.push_back(sql_.changes.integer(0));
    }
  }
  sql_.changes.reset();
  std::map<ChangeNumber, std::optional<StandingRow>> standing;
  for (const ChangeRow& change : changes) {
    if (!is_of_fault(change.kind)) {
      sql_.drop_change.with(change.number).run();
      continue;
    }
    const auto [known, is_new] = standing.try_emplace(change.fault);
    if (is_new) known->second = standing_of(era, change.fault);
    if (known->second) left.insert(known->second->shown);
    const auto event = std::ranges::lower_bound(events, change.seq, {}, &EventRow::seq);
    const Moment at = event != events.end() && event->seq == change.seq ? event->moment() : 0;
    apply(known->second, change, era, at);
    drop_ended(change, left);
    if (change.kind == ChangeKind::kPartlyCleared) {
      sql_.drop_shown_again.with(change.shown, change.number).run();
      left.insert(change.shown);
    }
    sql_.drop_change.with(change.number).run();
  }
  for (const auto& [fault, row] : standing) {
    if (era_goes) break;
    if (row) {
      sql_.add_standing(*row);
    } else {
      sql_.drop_standing.with(era, fault).run();
    }
  }
  std::erase_if(left, [&](Sequence sequence) { return sequence > watermark_.watermark_seq; });
  return last;
}

std::optional<StandingRow> Pruner::standing_of(Sequence era, ChangeNumber fault) {
  std::optional<StandingRow> row;
  try {
    if (sql_.standing.with(era, fault).step()) row = read_row<StandingRow>(sql_.standing);
  } catch (const DamagedRow&) {  // the fault is told of again from its next change on
  }
  sql_.standing.reset();
  return row;
}

void Pruner::drop_ended(const ChangeRow& change, std::set<Sequence>& left) {
  if (ends_fault(change.kind)) {
    Statement& fault = sql_.fault;
    try {
      if (fault.with(change.fault).step()) {
        const auto row = read_row<FaultRow>(fault);
        left.insert({row.raised_seq, row.shown_seq});
        sql_.drop_step.with(row.number, row.alarm, row.later_alarm).run();
      }
    } catch (const DamagedRow&) {  // what it refers to goes when its era is swept
    }
    fault.reset();
    sql_.drop_fault.with(change.fault).run();
  }
  if (ends_alarm(change.kind)) {
    sql_.drop_steps.with(change.alarm).run();
    sql_.drop_alarm.with(change.alarm).run();
    sql_.drop_alarm_actions.with(change.alarm).run();
    if (db_.rows_changed() > 0) dropped_alarm_actions_ = true;
  }
}

// Of an input behind the watermark. `base` is the era that says what was active at
// the watermark.
bool Pruner::is_needed(const EventRow& event, Sequence base) {
  if (std::exchange(remembered_is_old_, false)) {
    remembered_.clear();
    for (const auto& [slot, sequences] : filter_state_) remembered_.insert(sequences.begin(), sequences.end());
  }
  if (remembered_.contains(event.seq)) return true;
  return event.fault && first_integer(sql_.needed.with(*event.fault, event.seq, base)) != 0;
}

// Takes out those of the inputs from `from` to before `end` that are not needed; answers
// how many stay.
std::int64_t Pruner::drop_unneeded(Sequence from, Sequence end, Sequence base) {
  std::int64_t kept = 0;
  const auto [events, damaged] = rows_to_go<EventRow>(sql_.survivors.with(from, end));
  for (const EventRow& event : events) {
    if (is_needed(event, base)) {
      ++kept;
    } else {
      sql_.drop_event.with(event.seq).run();
    }
  }
  for (const std::int64_t seq : damaged) sql_.drop_event.with(seq).run();
  return kept;
}

// Takes out what is not needed any more of an era behind the watermark, and of its
// epoch, if that is behind it, too. Answers how much is still needed.
std::int64_t Pruner::sweep(Sequence era, Sequence end, Sequence base) {
  std::int64_t kept = drop_unneeded(era, end, base);
  const Sequence epoch = first_integer(sql_.epoch_of.with(era));
  const Sequence next_epoch = first_integer(sql_.next_epoch.with(epoch));
  if (next_epoch > 0 && next_epoch <= base) kept += sweep_epoch(epoch, next_epoch);
  if (kept == 0) {
    sql_.drop_era.with(era).run();
    db_.exec(
        "DELETE FROM setting WHERE id < (SELECT setting FROM event ORDER BY seq LIMIT 1);"
        "DELETE FROM tables WHERE id NOT IN (SELECT tables FROM setting);"
        "DELETE FROM build WHERE id NOT IN (SELECT build FROM setting)");
  }
  return kept;
}

// Takes out what no event of an epoch says any more. Answers how many events it has.
std::int64_t Pruner::sweep_epoch(Sequence epoch, Sequence end) {
  std::unordered_set<Sequence> forms;
  std::unordered_set<Sequence> subjects;
  std::int64_t events = 0;
  sql_.said.with(epoch, end);
  while (sql_.said.step()) {
    ++events;
    if (!sql_.said.is_null(0)) subjects.insert(sql_.said.integer(0));
    if (!sql_.said.is_null(1)) forms.insert(sql_.said.integer(1));
  }
  sql_.said.reset();
  drop_others(sql_.forms.with(epoch, end), sql_.drop_form, forms);
  drop_others(sql_.subjects.with(epoch, end), sql_.drop_subject, subjects);
  return events;
}

void Pruner::drop_others(Statement& rows, Statement& drop, const std::unordered_set<Sequence>& kept) {
  std::vector<Sequence> others;
  while (rows.step()) {
    if (!kept.contains(rows.integer(0))) others.push_back(rows.integer(0));
  }
  rows.reset();
  for (const Sequence other : others) drop.with(other).run();
}

// One of the eras behind the watermark that have something left, in turn. Answers
// whether there was one before all had had their turn.
bool Pruner::sweep_next() {
  const Sequence base = base_era();
  const Sequence era = first_integer(sql_.next_era.with(swept_));
  if (era == 0 || era >= base) {
    swept_ = 0;
    sweep_from_ = watermark_.watermark_seq + kMostStep;
    return false;
  }
  const Sequence end = first_integer(sql_.next_era.with(era));
  Transaction transaction(db_);
  const std::int64_t kept = sweep(era, end, base);
  transaction.commit();
  swept_ = era;
  // An era with much that is needed takes long, so that the next comes later.
  sweep_from_ = watermark_.watermark_seq + std::max(kMostStep, 4 * kept);
  return true;
}

// Makes the file shorter when it is past its limit, or when little of it is used.
bool Pruner::give_back() {
  const std::int64_t free = first_integer(sql_.free_pages);
  const std::int64_t all = pages();
  const std::int64_t past = most_pages_ > 0 ? all - most_pages_ : 0;
  const std::int64_t idle = free - std::max(kKeptFree, all / 2);
  const std::int64_t most =
      most_pages_ > 0 ? std::clamp(most_pages_ / kParts, kLeastGivenBack, kMostGivenBack) : kMostGivenBack;
  const std::int64_t given = std::min({free, std::max(past, idle), most});
  if (given <= 0) return false;
  db_.exec("PRAGMA incremental_vacuum(" + std::to_string(given) + ")");
  return true;
}

}  // namespace polaiga::engine
