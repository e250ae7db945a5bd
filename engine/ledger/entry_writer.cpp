#include "ledger/entry_writer.h"

#include <sqlite3.h>

#include <algorithm>
#include <utility>

#include "model/reporter.h"

namespace polaiga::engine {
namespace {

// Of an epoch; each takes about 60 bytes of memory.
constexpr std::size_t kMostSubjects = 32'768;
constexpr std::size_t kMostForms = 65'536;

// An era begins by storing what is active, which takes about as long as three inputs
// for each fault.
constexpr std::int64_t kInputsOfStanding = 6;

constexpr std::int64_t kRowBytes = 40;  // of a row, beside what it says; about

}  // namespace

EntryWriter::Statements::Statements(const Database& db)
    : event(db),
      seal(db, "UPDATE event SET seal = ?2 WHERE seq = ?1"),
      subject(db),
      form(db),
      change(db),
      alarm(db),
      fault(db),
      step(db, " ON CONFLICT DO NOTHING"),
      report(db,
             " ON CONFLICT (fault, entity, sensor, instance) DO UPDATE SET last_seq = excluded.last_seq, "
             "last_at = excluded.last_at, count = count + 1, change = excluded.change"),
      shown_again(db),
      era(db),
      filter_state(db),
      forget_slot(db, "DELETE FROM filter_state WHERE slot = ?"),
      least_at(db, "UPDATE era SET least_at = ?2 WHERE seq = ?1"),
      standing(db, insert_standing_sql()),
      alarm_goes_on(db,
                    "UPDATE alarm SET severity = ?2, worst = max(worst, ?2), fault = ?3, was_told = max(was_told, ?4) "
                    "WHERE number = ?1"),
      later_alarm(db, "UPDATE fault SET later_alarm = nullif(?2, alarm) WHERE number = ?1"),
      fault_severity(db, "UPDATE fault SET severity = ?2 WHERE number = ?1"),
      merge_alarm(db, "UPDATE alarm SET merged = ?2, merged_into = ?3 WHERE number = ?1"),
      end_fault(db,
                "UPDATE fault SET ended = ?2, shown_seq = ?3, change = ?2, "
                "updated_at = iif(?4 > updated_seq, ?5, updated_at), updated_seq = max(updated_seq, ?4), "
                "count = count + ?6 WHERE number = ?1"),
      all_reports(db, "SELECT max(last_seq), last_at, sum(count) FROM report WHERE fault = ?"),
      forget_reports(db, "DELETE FROM report WHERE fault = ?"),
      one_report(db,
                 "SELECT last_seq, last_at, count FROM report "
                 "WHERE fault = ? AND entity = ? AND sensor = ? AND instance = ?"),
      forget_report(db, "DELETE FROM report WHERE fault = ? AND entity = ? AND sensor = ? AND instance = ?"),
      take_back(db,
                "UPDATE fault SET change = ?2, updated_at = iif(?3 > updated_seq, ?4, updated_at), "
                "updated_seq = max(updated_seq, ?3), count = count + ?5 WHERE number = ?1"),
      action(db),
      alarm_action(db),
      maintenance(db,
                  " ON CONFLICT (dn) DO UPDATE SET seq = excluded.seq, since_at = excluded.since_at, "
                  "until = excluded.until, until_age = excluded.until_age"),
      end_maintenance(db, "DELETE FROM maintenance WHERE dn = ?"),
      chattering(db,
                 " ON CONFLICT (fault_dn) DO UPDATE SET change = excluded.change, since_at = excluded.since_at, "
                 "raises = excluded.raises, last_age = excluded.last_age, alarm = excluded.alarm, "
                 "shown_alarm = excluded.shown_alarm, shown_severity = excluded.shown_severity, "
                 "was_told = excluded.was_told"),
      settled(db, "DELETE FROM chattering WHERE fault_dn = ?"),
      fault_change(db, "UPDATE fault SET change = ?2 WHERE number = ?1"),
      alarm_told(db, "UPDATE alarm SET was_told = max(was_told, ?2), operated = ?3 WHERE number = ?1"),
      missed_through(db, "UPDATE ledger SET missed_through = max(missed_through, ?)"),
      operate(db,
              "UPDATE alarm SET operated = ?2, was_told = max(was_told, ?3), "
              "acknowledged = coalesce(?4, acknowledged), closed = coalesce(?5, closed), "
              "shelved = coalesce(?6, shelved), shelved_until = coalesce(?7, shelved_until), "
              "shelved_until_age = coalesce(?8, shelved_until_age), was_unshelved = max(was_unshelved, ?9) "
              "WHERE number = ?1"),
      head(db,
           "SELECT max(alarm.operated, fault.change, (SELECT coalesce(max(change), 0) FROM report WHERE report.fault = "
           "fault.number)) "
           "FROM alarm JOIN fault ON fault.number = alarm.fault WHERE alarm.number = ?"),
      change_count(db, "SELECT of_alarm FROM change WHERE number = ?") {}

EntryWriter::EntryWriter(Database& db, const Limits& limits)
    : db_(db), limits_(limits), sql_(db), subjects_(kMostSubjects), forms_(kMostForms) {
  load();
}

void EntryWriter::load() {
  const LedgerRow own = ledger_row(db_);
  last_sequence_ = own.watermark_seq;
  last_change_ = own.watermark_change;
  last_arrived_ = 0;
  last_age_ = 0;
  created_ = own.created;
  ledger_id_ = own.id;
  seal_ = {};
  Statement event(db_, "SELECT " + columns_sql<EventRow>() + " FROM event ORDER BY seq DESC LIMIT 1");
  if (event.step()) {
    const auto last = read_row<EventRow>(event);
    last_sequence_ = std::max(last_sequence_, last.seq);
    last_arrived_ = last.arrival();
    last_age_ = last.age_in(created_);
    if (last.seq > own.watermark_seq) {
      if (!last.seal) throw DamagedRow("event " + std::to_string(last.seq) + ": the last event has no seal");
      seal_ = *last.seal;
    }
  }
  Statement gap(db_, "SELECT " + columns_sql<GapRow>() + " FROM gap ORDER BY seq DESC LIMIT 1");
  if (gap.step()) {
    const auto last = read_row<GapRow>(gap);
    last_sequence_ = std::max(last_sequence_, last.last_seq);
    last_change_ = std::max(last_change_, last.last_change);
  }
  Statement change(db_, "SELECT " + columns_sql<ChangeRow>() + " FROM change ORDER BY number DESC LIMIT 1");
  if (change.step()) last_change_ = std::max(last_change_, read_row<ChangeRow>(change).number);
  heads_.clear();
  setting_.id = 0;
  era_ = {};
  epoch_bytes_ = 0;
  subjects_.clear();
  forms_.clear();
  Statement era(db_, "SELECT " + columns_sql<EraRow>() + " FROM era ORDER BY seq DESC LIMIT 1");
  if (!era.step()) return;
  era_ = read_row<EraRow>(era);
  Statement standing(db_, "SELECT count(*) FROM standing WHERE era = ?");
  era_standing_ = first_integer(standing.with(era_.seq));
  warm<SubjectRow>(subjects_);
  warm<FormRow>(forms_);
}

template <class Row>
void EntryWriter::warm(KnownRows& known) {
  Statement rows(
      db_, "SELECT " + columns_sql<Row>() + " FROM " + std::string(Table<Row>::kName) + " WHERE seq >= ? ORDER BY seq");
  rows.with(era_.epoch);
  while (rows.step()) {
    try {
      const Row row = read_row<Row>(rows);
      find(known, row);
      remember(known, row);
    } catch (const DamagedRow&) {  // what it said is stored once more when it is said again
    }
  }
}

// The row that says the same; 0: there is none.
template <class Row>
Sequence EntryWriter::find(KnownRows& known, const Row& row) {
  key_.clear();
  append_content(key_, row, 1);
  return known.find(key_).value_or(0);
}

template <class Row>
void EntryWriter::remember(KnownRows& known, const Row& row) {
  known.add(row.seq);
  epoch_bytes_ += static_cast<std::int64_t>(key_.size()) + kRowBytes;
}

void EntryWriter::use(const HostTables& tables, const LibraryBuild& build) {
  setting_ = {.tables = tables, .build = build, .digest = setting_digest(tables, build), .is_known = true, .id = 0};
}

// The setting that was used last is used again when it is the same; none before
// it is, so that settings only ever ascend.
void EntryWriter::write_setting() {
  if (setting_.id != 0) return;
  if (!setting_.is_known) throw SqlError(SQLITE_MISUSE, "the ledger was not told under what inputs are handled");
  Statement last(db_, "SELECT " + columns_sql<SettingRow, BuildRow, TablesRow>() +
                          " FROM setting JOIN build ON build.id = setting.build JOIN tables ON tables.id = "
                          "setting.tables ORDER BY setting.id DESC LIMIT 1");
  if (last.step()) {
    const auto build = read_row<BuildRow>(last, kWidth<SettingRow>);
    const auto tables = read_row<TablesRow>(last, kWidth<SettingRow> + kWidth<BuildRow>);
    if (build.build_id == setting_.build.build_id && build.version == setting_.build.version &&
        HostTables{tables.nm, tables.cmc, tables.drive_bp} == setting_.tables) {
      setting_.id = read_row<SettingRow>(last).id;
      return;
    }
  }
  last.reset();
  Statement build(db_, "SELECT id FROM build WHERE build_id = ? AND version = ?");
  std::int64_t build_id = first_integer(build.with(setting_.build.build_id, setting_.build.version));
  Statement tables(db_, "SELECT id FROM tables WHERE nm = ? AND cmc = ? AND drive_bp = ?");
  const HostTables& content = setting_.tables;
  std::int64_t tables_id = first_integer(tables.with(content.nm, content.cmc, content.drive_bp));
  const auto next = [this](const char* table) {
    Statement highest(db_, std::string("SELECT coalesce(max(id), 0) + 1 FROM ") + table);
    return first_integer(highest);
  };
  if (build_id == 0) {
    build_id = next("build");
    Insert<BuildRow>{db_}({build_id, setting_.build.build_id, setting_.build.version});
  }
  if (tables_id == 0) {
    tables_id = next("tables");
    Insert<TablesRow>{db_}({tables_id, content.nm, content.cmc, content.drive_bp});
  }
  setting_.id = next("setting");
  Insert<SettingRow>{db_}({setting_.id, build_id, tables_id});
}

void EntryWriter::write(const Batch& batch) {
  if (!batch.inputs.empty()) {
    write_setting();
    const ChangeNumber change_before = last_change_;
    sealed_.emplace(ledger_id_, seal_, setting_.digest);
    for (const RecordedInput& input : batch.inputs) write(input);
    seal_ = sealed_->close(batch.inputs.front().sequence, last_sequence_, change_before, last_change_);
    columns::bind(sql_.seal.with(last_sequence_), 1, seal_);
    sql_.seal.run();
  }
  for (const auto& [slot, sequences] : batch.filter_state) {
    sql_.forget_slot.with(slot).run();
    for (const Sequence sequence : sequences) sql_.filter_state({slot, sequence});
  }
  for (const auto& [fault_dn, fault] : batch.chattering) {
    if (fault) {
      sql_.chattering(chattering_row(*fault));
    } else {
      sql_.settled.with(fault_dn).run();
    }
  }
}

void EntryWriter::write(const RecordedInput& input) {
  if (input.sequence != last_sequence_ + 1) {
    throw SqlError(SQLITE_MISUSE, "input " + std::to_string(input.sequence) + " does not follow input " +
                                      std::to_string(last_sequence_));
  }
  const std::int64_t inputs = input.sequence - era_.seq;
  const std::int64_t least = std::min(era_standing_ * kInputsOfStanding, 4 * limits_.era_inputs);
  if (era_.seq == 0 || is_epoch_over(input) || inputs >= std::max(limits_.era_inputs, least)) begin_era(input);
  if (input.at < era_.least_at) {
    era_.least_at = input.at;
    sql_.least_at.with(era_.seq, input.at).run();
  }
  EventRow row{.seq = input.sequence,
               .id = input.action ? input.action->id : input.event.id,
               .received = input.received,
               .arrived = input.arrived != input.received ? std::optional(input.arrived) : std::nullopt,
               .age = {},
               .time = input.event.time,
               .at = {},
               .setting = setting_.id,
               .subject = input.action ? std::nullopt : std::optional(subject_of(input)),
               .event = input.event.event,
               .form = {},
               .outcome = {},
               .fault = {},
               .created_time = {},
               .zone = {},
               .created = {},
               .seal = {}};
  if (row.moment() != input.at) row.at = input.at;
  if (row.age_in(created_) != input.age) row.age = input.age;
  if (input.reported) {
    row.form = form_of(input);
    row.outcome = input.outcome;
    for (const Change& change : input.changes) {
      if (change.kind == ChangeKind::kRaised || change.kind == ChangeKind::kRefreshed) row.fault = change.fault;
    }
    stamp(row, input.record);
  }
  sql_.event(row);
  sealed_->add(row);
  if (input.action) write(*input.action, input);
  for (const Change& change : input.changes) write(change, input);
  last_sequence_ = input.sequence;
  last_arrived_ = input.arrived;
  last_age_ = input.age;
}

bool EntryWriter::is_epoch_over(const RecordedInput& input) const {
  return input.sequence - era_.epoch >= limits_.epoch_inputs ||
         (epoch_bytes_ >= limits_.epoch_bytes && input.sequence - era_.seq >= era_standing_);
}

void EntryWriter::begin_era(const RecordedInput& input) {
  const bool begins_epoch = era_.seq == 0 || is_epoch_over(input);
  era_ = {.seq = input.sequence,
          .epoch = begins_epoch ? input.sequence : era_.epoch,
          .least_at = input.at,
          .first_change = last_change_ + 1};
  sql_.era(era_);
  sql_.standing.with(era_.seq).run();
  era_standing_ = db_.rows_changed();
  if (!begins_epoch) return;
  subjects_.clear();
  forms_.clear();
  epoch_bytes_ = 0;
}

Sequence EntryWriter::subject_of(const RecordedInput& input) {
  const SubjectRow row{input.sequence, input.event.entity, input.event.event};
  if (const Sequence known = find(subjects_, row)) return known;
  sql_.subject(row);
  sealed_->add(row);
  remember(subjects_, row);
  return row.seq;
}

Sequence EntryWriter::form_of(const RecordedInput& input) {
  const FormRow row{input.sequence, input.record};
  if (const Sequence known = find(forms_, row)) return known;
  sql_.form(row);
  sealed_->add(row);
  remember(forms_, row);
  return row.seq;
}

// The local time of a record is nearly always that of created_time in some zone.
void EntryWriter::stamp(EventRow& row, const fe_fault_record& record) {
  const std::string_view created = field_text(record.created);
  if (created != stamp_ || record.created_time != stamp_time_) {
    stamp_ = created;
    stamp_time_ = record.created_time;
    stamp_zone_.reset();
    if (const auto local = parse_moment(stamp_ + "Z")) {
      const Moment ahead = *local - Moment{stamp_time_};
      if (std::in_range<std::int32_t>(ahead) && format_moment(*local) == stamp_ + "Z") {
        stamp_zone_ = static_cast<std::int32_t>(ahead);
      }
    }
  }
  row.created_time = stamp_time_;
  row.zone = stamp_zone_;
  if (!stamp_zone_) row.created = stamp_;
}

void EntryWriter::write(const Change& change, const RecordedInput& input) {
  if (change.number != last_change_ + 1) {
    throw SqlError(SQLITE_MISUSE, "change " + std::to_string(change.number) + " does not follow change " +
                                      std::to_string(last_change_));
  }
  note(change);
  switch (change.kind) {
    case ChangeKind::kRaised:
      raise(change, input);
      break;
    case ChangeKind::kRefreshed:
      refresh(change, input);
      break;
    case ChangeKind::kPartlyCleared:
      take_back(change, input);
      break;
    case ChangeKind::kCleared:
    case ChangeKind::kWithdrawn:
      end_fault(change);
      heads_.erase(change.alarm);
      break;
    case ChangeKind::kSuperseded:
      end_fault(change);
      break;
    case ChangeKind::kMerged:
      merge_alarm(change);
      break;
    case ChangeKind::kChattering:
      sql_.fault_change.with(change.fault, change.number).run();
      must_change_one("fault", change.fault);
      break;
    case ChangeKind::kSettled:
      settle(change);
      break;
    default:
      if (is_of_operators(change.kind) && change.alarm != 0) operate(change, input);
  }
  last_change_ = change.number;
}

void EntryWriter::note(const Change& change) {
  const bool is_new = change.alarm == 0 || (change.kind == ChangeKind::kRaised && change.alarm == change.number);
  Head* const head = change.alarm == 0 ? nullptr : &(is_new ? heads_[change.alarm] : head_of(change.alarm));
  const Head before = head != nullptr && !is_new ? *head : Head{};
  const ChangeRow row{.number = change.number,
                      .seq = change.sequence,
                      .kind = change.kind,
                      .fault = change.fault,
                      .alarm = change.alarm,
                      .before = change.before,
                      .after = change.after,
                      .other = change.other,
                      .shown = change.shown,
                      .reporters = change.reporters,
                      .previous = before.change,
                      .of_alarm = before.count + 1,
                      .raises = change.raises,
                      .is_quiet = change.is_quiet,
                      .is_folded = change.is_folded};
  sql_.change(row);
  sealed_->add(row);
  if (head != nullptr) *head = {change.number, before.count + 1};
}

EntryWriter::Head& EntryWriter::head_of(ChangeNumber alarm) {
  const auto [known, is_new] = heads_.try_emplace(alarm);
  Head& head = known->second;
  if (is_new) {
    head.change = first_integer(sql_.head.with(alarm));
    head.count = first_integer(sql_.change_count.with(head.change));
  }
  return head;
}

// Alarms and faults come from the engine's memory; should the ledger know other
// ones, it is not to be written to.
void EntryWriter::must_change_one(const char* what, ChangeNumber number) const {
  if (db_.rows_changed() == 1) return;
  throw SqlError(SQLITE_CORRUPT, std::string("the ledger has no active ") + what + " " + std::to_string(number));
}

void EntryWriter::raise(const Change& change, const RecordedInput& input) {
  if (change.alarm == change.number) {
    sql_.alarm({.number = change.number,
                .created = input.at,
                .severity = change.after,
                .worst = change.after,
                .fault = change.fault,
                .merged = {},
                .merged_into = 0,
                .related = change.other,
                .standing = {.was_told = change.is_told()},
                .operated = 0});
  } else {
    sql_.alarm_goes_on.with(change.alarm, static_cast<int>(change.after), change.fault, change.is_told()).run();
    must_change_one("alarm", change.alarm);
    sql_.step({change.alarm, change.fault});
  }
  sql_.fault({.number = change.number,
              .name = fault_name_hash(change.fault_dn),
              .alarm = change.alarm,
              .later_alarm = {},
              .severity = change.after,
              .raised_seq = input.sequence,
              .shown_seq = input.sequence,
              .updated_seq = 0,
              .updated_at = 0,
              .count = 0,
              .change = change.number,
              .ended = {}});
  report(change, input);
}

void EntryWriter::refresh(const Change& change, const RecordedInput& input) {
  const auto is_merge = [](const Change& other) { return other.kind == ChangeKind::kMerged; };
  const bool is_merged = std::ranges::any_of(input.changes, is_merge);
  if (is_merged || change.before != change.after) {
    sql_.alarm_goes_on.with(change.alarm, static_cast<int>(change.after), change.fault, change.is_told()).run();
    must_change_one("alarm", change.alarm);
    sql_.fault_severity.with(change.fault, static_cast<int>(change.after)).run();
    must_change_one("fault", change.fault);
  }
  if (is_merged) {
    sql_.later_alarm.with(change.fault, change.alarm).run();
    if (change.fault != change.alarm) sql_.step({change.alarm, change.fault});
  }
  report(change, input);
}

void EntryWriter::report(const Change& change, const RecordedInput& input) {
  const Reporter reporter = reporter_of(input.event);
  sql_.report({.fault = change.fault,
               .entity = reporter.entity,
               .sensor = reporter.sensor,
               .instance = reporter.instance,
               .since_seq = input.sequence,
               .since_at = input.at,
               .last_seq = input.sequence,
               .last_at = input.at,
               .count = 1,
               .change = change.number});
}

void EntryWriter::take_back(const Change& change, const RecordedInput& input) {
  const Reporter reporter = reporter_of(input.event);
  Statement& found = sql_.one_report.with(change.fault, reporter.entity->name, reporter.sensor, reporter.instance);
  if (!found.step()) {
    found.reset();
    throw SqlError(SQLITE_CORRUPT, "the ledger has no such report of fault " + std::to_string(change.fault));
  }
  sql_.take_back.with(change.fault, change.number, found.integer(0), found.integer(1), found.integer(2)).run();
  found.reset();
  must_change_one("fault", change.fault);
  sql_.shown_again({change.shown, change.number});
  sql_.forget_report.with(change.fault, reporter.entity->name, reporter.sensor, reporter.instance).run();
}

void EntryWriter::end_fault(const Change& change) {
  Statement& reports = sql_.all_reports.with(change.fault);
  reports.step();
  sql_.end_fault
      .with(change.fault, change.number, change.shown, reports.integer(0), reports.integer(1), reports.integer(2))
      .run();
  reports.reset();
  must_change_one("fault", change.fault);
  sql_.forget_reports.with(change.fault).run();
}

void EntryWriter::write(const OperatorAction& action, const RecordedInput& input) {
  const bool lasts = action.kind == ActionKind::kShelve || action.kind == ActionKind::kMaintain;
  const ActionRow row{.seq = input.sequence,
                      .kind = action.kind,
                      .person = action.person,
                      .on_behalf_of = action.on_behalf_of,
                      .comment = action.comment,
                      .dn = action.dn,
                      .until = lasts ? std::optional(action.until) : std::nullopt,
                      .until_age = lasts ? std::optional(action.until_age) : std::nullopt};
  sql_.action(row);
  sealed_->add(row);
  if (action.kind == ActionKind::kMaintain) {
    sql_.maintenance({.dn = action.dn,
                      .seq = input.sequence,
                      .since_at = input.at,
                      .until = action.until,
                      .until_age = action.until_age});
  } else if (action.kind == ActionKind::kEndMaintenance) {
    sql_.end_maintenance.with(action.dn).run();
  } else if (action.kind == ActionKind::kAcknowledgeMissed) {
    sql_.missed_through.with(std::min(action.through, last_change_)).run();
  }
}

void EntryWriter::operate(const Change& change, const RecordedInput& input) {
  // What a kind of change sets a column to; another kind sets it back to 0, and all others leave it as it is.
  const auto set = [&change](ChangeKind to, std::int64_t value, ChangeKind back) -> std::optional<std::int64_t> {
    if (change.kind == to) return value;
    return change.kind == back ? std::optional<std::int64_t>(0) : std::nullopt;
  };
  const Moment until = input.action ? input.action->until : 0;
  const std::int64_t until_age = input.action ? input.action->until_age : 0;
  sql_.operate
      .with(change.alarm, change.number, change.is_told(),
            set(ChangeKind::kAcknowledged, change.number, ChangeKind::kUnacknowledged),
            set(ChangeKind::kClosed, change.number, ChangeKind::kUnacknowledged),
            set(ChangeKind::kShelved, change.number, ChangeKind::kUnshelved),
            set(ChangeKind::kShelved, until, ChangeKind::kUnshelved),
            set(ChangeKind::kShelved, until_age, ChangeKind::kUnshelved), change.kind == ChangeKind::kUnshelved)
      .run();
  must_change_one("alarm", change.alarm);
  sql_.alarm_action(
      {.change = change.number, .alarm = change.alarm, .seq = input.sequence, .kind = change.kind, .at = input.at});
}

// The alarm may be over, and retention may have taken it.
void EntryWriter::settle(const Change& change) {
  if (change.after == Severity::kCleared) {
    heads_.erase(change.alarm);
    return;
  }
  sql_.alarm_told.with(change.alarm, change.is_told(), change.number).run();
  must_change_one("alarm", change.alarm);
}

void EntryWriter::merge_alarm(const Change& change) {
  sql_.merge_alarm.with(change.alarm, change.number, change.other).run();
  must_change_one("alarm", change.alarm);
  heads_.erase(change.alarm);
}

}  // namespace polaiga::engine
