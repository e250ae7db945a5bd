#include "ledger/ledger.h"

#include <sqlite3.h>

#include <algorithm>
#include <utility>

#include "ledger/ledger_rows.h"
#include "model/dictionary.h"
#include "model/record_text.h"

namespace polaiga::engine {
namespace {

constexpr Moment kDay = Moment{24} * 60 * 60;

// Retention goes on by at most this much with a batch, so that it delays none.
constexpr std::int64_t kPrunedAtOnce = 256;
constexpr std::int64_t kPrunedPerEntry = 2;

// Events that came to be needed no more behind the horizon are looked for when it
// has moved by this much, or by as much as there is behind it.
constexpr std::int64_t kSweepStep = 50'000;

constexpr const char* kTablesName = "the ledger's tables";  // in complaints

// Of an event or a record: the library's memory, or the first or the latest record
// of an episode.
constexpr const char* kNeeded =
    "(seq IN (SELECT seq FROM filter_state) OR seq IN (SELECT raised_seq FROM episode) OR "
    "seq IS (SELECT last_seq FROM record AS own JOIN episode USING (raised_seq) WHERE own.seq = one.seq))";

std::string parameters(int count) {
  std::string text = "?";
  for (int i = 1; i < count; ++i) text += ", ?";
  return text;
}

std::string select_events(const char* more, const char* from) {
  return std::string("SELECT ") + kEventColumns + more + " FROM " + from;
}

}  // namespace

Ledger::Statements::Statements(const Database& db)
    : find_id(db, "SELECT seq FROM event WHERE id = ?"),
      add_tables(db, "INSERT INTO tables VALUES (?, ?, ?, ?)"),
      add_event(db, "INSERT INTO event VALUES (" + parameters(14) + ")"),
      add_record(db, "INSERT INTO record VALUES (?, ?, nullif(?, 0), " + parameters(kRecordWidth - 1) + ")"),
      raise(db, "INSERT INTO episode VALUES (?1, ?2, ?1, ?2, 1, NULL, NULL, NULL)"),
      refresh(db, "UPDATE episode SET last_seq = ?2, updated_at = ?3, reports = reports + 1 WHERE raised_seq = ?1"),
      end(db, "UPDATE episode SET ended_seq = ?2, ended_at = ?3, ending = ?4 WHERE raised_seq = ?1"),
      forget_slot(db, "DELETE FROM filter_state WHERE slot = ?"),
      add_slot(db, "INSERT INTO filter_state VALUES (?, ?)"),
      next_events(db, "SELECT seq, received FROM event WHERE seq > ? ORDER BY seq LIMIT ?"),
      least_cursor(db, "SELECT min(seq) FROM output"),
      drop_episodes(db, "DELETE FROM episode WHERE ended_seq <= ?"),
      latest_gone(db, "SELECT max(coalesce(time, received)) FROM event WHERE seq > ? AND seq <= ?"),
      drop_records(db, std::string("DELETE FROM record AS one WHERE seq > ? AND seq <= ? AND NOT ") + kNeeded),
      drop_events(db, std::string("DELETE FROM event AS one WHERE seq > ? AND seq <= ? AND NOT ") + kNeeded),
      set_horizon(db, "UPDATE horizon SET through_seq = ?, through_at = max(through_at, ?)"),
      survivors(db, "SELECT count(*) FROM event WHERE seq <= ?") {}

Ledger::Ledger(const std::string& path, const Retention& retention, Moment now)
    : Ledger(open_ledger(path, now), retention) {}

Ledger::Ledger(OpenedLedger&& opened, const Retention& retention)
    : retention_(retention), set_aside_(std::move(opened.set_aside)), db_(std::move(opened.db)), sql_(db_) {
  Statement now(db_,
                "SELECT through_seq, max(through_seq, coalesce((SELECT max(seq) FROM event), 0)), "
                "coalesce((SELECT max(id) FROM tables), 0) FROM horizon");
  if (!now.step()) throw LedgerError("the ledger has no horizon");
  pruned_through_ = now.integer(0);
  last_ = now.integer(1);
  tables_id_ = now.integer(2);
}

std::optional<Sequence> Ledger::find(const std::string& id) {
  std::optional<Sequence> found;
  if (sql_.find_id.with(id).step()) found = sql_.find_id.integer(0);
  sql_.find_id.reset();
  return found;
}

HostTables Ledger::tables(std::int64_t id) const {
  Statement row(db_, "SELECT nm, cmc, drive_bp FROM tables WHERE id = ?");
  if (!row.with(id).step()) throw LedgerError("the ledger has no host tables " + std::to_string(id));
  return {std::string(row.text(0)), std::string(row.text(1)), std::string(row.text(2))};
}

// All is read before any of it is used: what the library has been given cannot be
// taken back.
FilterState Ledger::restore(FaultEngine& engine) {
  struct Step {
    StoredEvent event;
    std::int64_t tables;
  };
  std::vector<Step> steps;
  std::map<std::int64_t, HostTables> tables_used;
  Statement events(
      db_, select_events(", event.tables", "event") + " WHERE seq IN (SELECT seq FROM filter_state) ORDER BY seq");
  while (events.step()) {
    steps.push_back({read_event(events), events.integer(kEventWidth)});
    tables_used.try_emplace(steps.back().tables);
  }
  Statement lost(db_, "SELECT count(*) FROM filter_state WHERE seq NOT IN (SELECT seq FROM event)");
  if (lost.step() && lost.integer(0) != 0) throw LedgerError("events that shaped the library's memory are gone");
  for (auto& [id, content] : tables_used) {
    content = tables(id);
    install_host_tables(content, kTablesName);
  }
  restore_faults(engine.faults());

  FilterState filter_state;
  std::int64_t installed = 0;
  for (const Step& step : steps) {
    if (step.tables != installed) install_host_tables(tables_used[step.tables], kTablesName);
    installed = step.tables;
    filter_state.note(step.event.sequence, step.event.line, engine.rebuild(step.event.line));
  }
  filter_state.take_changes();  // they are here already
  return filter_state;
}

void Ledger::restore_faults(ActiveFaults& faults) {
  std::vector<ActiveFault> active;
  Statement rows(
      db_, select_events(
               (std::string(", ") + kRecordColumns + ", episode.raised_seq, raised_at, updated_at, reports").c_str(),
               "episode JOIN event ON event.seq = last_seq JOIN record ON record.seq = last_seq") +
               " WHERE ended_seq IS NULL ORDER BY episode.raised_seq");
  constexpr int kOwn = kEventWidth + kRecordWidth;
  while (rows.step()) {
    active.push_back({.record = read_record(rows).record,
                      .since = rows.integer(kOwn + 1),
                      .updated = rows.integer(kOwn + 2),
                      .reports = rows.number<std::uint64_t>(kOwn + 3),
                      .raised = rows.integer(kOwn)});
  }
  Statement count(db_, "SELECT count(*) FROM episode WHERE ended_seq IS NULL");
  if (count.step() && count.number<std::size_t>(0) != active.size()) {
    throw LedgerError("records of active faults are gone");
  }
  for (const ActiveFault& fault : active) faults.restore(fault);
}

void Ledger::use_tables(const HostTables& in_use) {
  new_tables_.reset();
  if (tables_id_ == 0 || tables(tables_id_) != in_use) new_tables_ = in_use;
}

void Ledger::write(const LedgerBatch& batch) {
  const Sequence pruned_before = pruned_through_;
  const std::int64_t tables_before = tables_id_;
  try {
    Transaction transaction(db_);
    if (new_tables_) sql_.add_tables.with(++tables_id_, new_tables_->nm, new_tables_->cmc, new_tables_->drive_bp).run();
    for (const LedgerEntry& entry : batch.entries) write(entry);
    for (const auto& [slot, sequences] : batch.filter_state) {
      sql_.forget_slot.with(slot).run();
      for (const Sequence sequence : sequences) sql_.add_slot.with(slot, sequence).run();
    }
    prune(batch);
    transaction.commit();
  } catch (...) {
    pruned_through_ = pruned_before;
    tables_id_ = tables_before;
    throw;
  }
  new_tables_.reset();
  if (!batch.entries.empty()) last_ = batch.entries.back().sequence;
}

void Ledger::write(const LedgerEntry& entry) {
  const SensorEvent& line = entry.line;
  const fe_sensor_event& event = line.event;
  sql_.add_event
      .with(entry.sequence, line.id, entry.received, line.time, tables_id_, line.entity->name,
            field_text(event.sensor_name), event.event_offset, event.event_state, event.entity_instance,
            event.group_instance, event.entity_id, event.entity_subtype, event.reading_type)
      .run();
  for (const Withdrawn& fault : entry.handled.withdrawn) end(fault.raised, entry, "withdrawn");
  if (entry.handled.reported) write_record(entry);
}

void Ledger::write_record(const LedgerEntry& entry) {
  const fe_fault_record& record = entry.handled.record;
  const Outcome& outcome = entry.handled.outcome;
  const std::string oid = dotted_oid(record);
  sql_.add_record
      .with(entry.sequence, change_word(outcome.change), outcome.raised, outcome.superseded,
            severity_word(severity_of(record)), record.event.entity_id, record.event.entity_subtype,
            record.event.entity_instance, record.event.event_state, record.fault_key, field_text(record.dn),
            field_text(record.fault_dn), field_text(record.rn), field_text(record.code_text), oid, record.oid_len,
            field_text(record.descr), field_text(record.created), record.created_time, record.disposition,
            record.cause_id, record.clear_cause_id, field_text(record.cause), field_text(record.clear_cause),
            record.code, record.clear_code, field_text(record.name))
      .run();
  if (outcome.superseded) end(outcome.superseded_raised, entry, "superseded");
  switch (outcome.change) {
    case Change::kRaised:
      sql_.raise.with(entry.sequence, entry.handled.when).run();
      break;
    case Change::kRefreshed:
      sql_.refresh.with(outcome.raised, entry.sequence, entry.handled.when).run();
      break;
    case Change::kCleared:
      end(outcome.raised, entry, "cleared");
      break;
    case Change::kAlreadyClear:
      break;
  }
}

void Ledger::end(Sequence raised, const LedgerEntry& entry, const char* ending) {
  sql_.end.with(raised, entry.sequence, entry.handled.when, ending).run();
}

// How far retention may go with this batch.
Sequence Ledger::prunable_through(const LedgerBatch& batch) {
  const LedgerEntry& newest = batch.entries.back();
  const std::int64_t most = kPrunedAtOnce + kPrunedPerEntry * static_cast<std::int64_t>(batch.entries.size());
  Sequence through = pruned_through_;
  if (retention_.events > 0) {
    through = std::clamp(newest.sequence - retention_.events, through, pruned_through_ + most);
  }
  if (retention_.days > 0) {
    sql_.next_events.with(pruned_through_, most);
    while (sql_.next_events.step() && sql_.next_events.integer(1) < newest.received - retention_.days * kDay) {
      through = std::max(through, sql_.next_events.integer(0));
    }
    sql_.next_events.reset();
  }
  sql_.least_cursor.with();
  if (sql_.least_cursor.step() && !sql_.least_cursor.is_null(0)) {
    through = std::clamp(sql_.least_cursor.integer(0), pruned_through_, through);
  }
  sql_.least_cursor.reset();
  return through;
}

void Ledger::prune(const LedgerBatch& batch) {
  if (batch.entries.empty()) return;
  const Sequence through = prunable_through(batch);
  if (through == pruned_through_) return;
  sql_.latest_gone.with(pruned_through_, through).step();
  const Moment latest = sql_.latest_gone.integer(0);
  sql_.latest_gone.reset();
  sql_.drop_episodes.with(through).run();
  drop(pruned_through_, through);
  sql_.set_horizon.with(through, latest).run();
  pruned_through_ = through;
  if (through < next_sweep_) return;
  drop(0, through);
  db_.exec("DELETE FROM tables WHERE id < (SELECT max(id) FROM tables) AND id NOT IN (SELECT tables FROM event)");
  sql_.survivors.with(through).step();
  next_sweep_ = through + std::max(kSweepStep, sql_.survivors.integer(0));
  sql_.survivors.reset();
}

void Ledger::drop(Sequence after, Sequence through) {
  sql_.drop_records.with(after, through).run();
  sql_.drop_events.with(after, through).run();
}

}  // namespace polaiga::engine
