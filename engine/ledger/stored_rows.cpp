#include "ledger/stored_rows.h"

#include <algorithm>
#include <limits>
#include <set>

#include "model/fault.h"

namespace polaiga::engine {
namespace {

// When an input happened, of the table `event` or of another name for it.
std::string moment_sql(const std::string& event = "event") {
  return "coalesce(" + event + ".at, " + event + ".time, " + event + ".arrived, " + event + ".received)";
}

// The faults of a DN, by its number and by itself, in all blocks of faults.
std::string named_faults() {
  const std::string block_of = " >> " + std::to_string(kFaultBlockBits);
  return "(WITH RECURSIVE block(number) AS (SELECT max(number)" + block_of +
         " FROM fault UNION ALL SELECT number - 1 FROM block WHERE number > (SELECT min(number)" + block_of +
         " FROM fault)) SELECT number FROM block) AS block "
         "CROSS JOIN fault ON fault.number" +
         block_of +
         " = block.number AND fault.name = ? "
         "JOIN event AS raising ON raising.seq = fault.raised_seq JOIN form ON form.seq = raising.form "
         "WHERE form.fault_dn = ?";
}

// What the actions up to some time made of an alarm.
AlarmStanding standing_after(const std::vector<AlarmAction>& actions) {
  AlarmStanding standing;
  for (const AlarmAction& one : actions) apply(standing, one);
  return standing;
}

Moment moment_of(const Statement& row, int column) {
  const Moment at = row.integer(column);
  if (at < 0 || at > kLastMoment) throw LedgerError("an event has a time that is out of range: " + std::to_string(at));
  return at;
}

// A fault is active exactly when it is reported.
constexpr const char* kActiveFaults =
    "SELECT DISTINCT report.fault, coalesce(fault.later_alarm, fault.alarm) "
    "FROM report LEFT JOIN fault ON fault.number = report.fault ORDER BY report.fault";

}  // namespace

StoredRows::StoredRows(const Database& db)
    : db_(db),
      records_(db, "SELECT " + record_columns() + " FROM event" + record_joins() + " WHERE event.seq = ?"),
      fault_reports_(db, "SELECT " + columns_sql<ReportRow>() + " FROM report WHERE fault = ?"),
      alarms_(db, "SELECT " + columns_sql<AlarmRow>() + " FROM alarm WHERE number = ?"),
      steps_(db,
             "SELECT number FROM fault WHERE number = ?1 UNION "
             "SELECT fault FROM step JOIN fault ON fault.number = step.fault WHERE step.alarm = ?1 ORDER BY 1"),
      faults_(db, "SELECT " + NamedFault::columns() + " FROM " + NamedFault::tables() + " WHERE fault.number = ?"),
      one_change_(db, "SELECT " + columns_sql<ChangeRow>() + ", " + moment_sql() +
                          " FROM change JOIN event ON event.seq = change.seq WHERE change.number = ?"),
      actions_(db, "SELECT " + columns_sql<AlarmActionRow, ActionRow>() +
                       " FROM alarm_action LEFT JOIN action ON action.seq = alarm_action.seq "
                       "WHERE alarm_action.alarm = ? AND alarm_action.change <= ? ORDER BY alarm_action.change") {}

ChangeNumber StoredRows::last_change() const {
  Statement last(db_,
                 "SELECT max((SELECT coalesce(max(number), 0) FROM change), "
                 "(SELECT coalesce(max(last_change), 0) FROM gap))");
  const ChangeNumber number = last.step() ? last.integer(0) : 0;
  return std::max(number, ledger().watermark_change);
}

std::optional<Moment> StoredRows::changed() {
  std::optional<Moment> at;
  leave_out_damage([&] {
    Statement last(db_, "SELECT " + moment_sql() +
                            " FROM change JOIN event ON event.seq = change.seq ORDER BY change.number DESC LIMIT 1");
    if (last.step()) at = moment_of(last, 0);
  });
  return at;
}

std::string StoredRows::profile_text() {
  Statement row(db_, "SELECT " + columns_sql<AlarmProfileRow>() + " FROM profile WHERE id = ?");
  return row.with(AlarmProfileRow::kOnly).step() ? read_row<AlarmProfileRow>(row).text : "";
}

StoredRecord StoredRows::record(Sequence sequence) {
  if (!records_.with(sequence).step()) throw LedgerError(gone("event", sequence));
  StoredRecord stored = stored_record(RecordRow(records_, 0));
  records_.reset();
  return stored;
}

std::optional<StoredRecord> StoredRows::kept_record(Sequence sequence) {
  try {
    return record(sequence);
  } catch (const LedgerError&) {  // retention may have taken it since
    return std::nullopt;
  }
}

HostTables StoredRows::tables_of(Sequence sequence) {
  Statement row(db_, "SELECT " + columns_sql<TablesRow>() +
                         " FROM event JOIN setting ON setting.id = event.setting "
                         "JOIN tables ON tables.id = setting.tables WHERE event.seq = ?");
  if (!row.with(sequence).step())
    throw LedgerError("the host tables of event " + std::to_string(sequence) + " are gone");
  const auto tables = read_row<TablesRow>(row);
  return {tables.nm, tables.cmc, tables.drive_bp};
}

std::optional<HostTables> StoredRows::latest_tables() {
  std::optional<HostTables> found;
  leave_out_damage([&] {
    Statement row(db_, "SELECT " + columns_sql<TablesRow>() +
                           " FROM setting JOIN tables ON tables.id = setting.tables ORDER BY setting.id DESC LIMIT 1");
    if (!row.step()) return;
    const auto tables = read_row<TablesRow>(row);
    found = HostTables{tables.nm, tables.cmc, tables.drive_bp};
  });
  return found;
}

std::optional<StandingRow> StoredRows::standing_of(ChangeNumber fault, ChangeNumber alarm) {
  const Reports reports = reports_of(fault);
  if (reports.reporters == 0) return std::nullopt;  // they are left out
  return StandingRow{.era = 0,
                     .fault = fault,
                     .alarm = alarm,
                     .severity = Severity::kIndeterminate,
                     .shown = reports.shown,
                     .reporters = reports.reporters,
                     .updated_at = 0,
                     .count = 0};
}

std::vector<ActiveRow> StoredRows::active() {
  Statement rows(db_, kActiveFaults);
  std::vector<StandingRow> standing;
  leave_out_damage([&] {
    while (rows.step()) {
      leave_out_damage([&] {
        if (const auto one = standing_of(rows.integer(0), rows.integer(1))) standing.push_back(*one);
      });
    }
  });
  return active_rows(standing, std::nullopt);
}

std::vector<ChangeNumber> StoredRows::active_alarms() {
  Statement rows(db_, kActiveFaults);
  std::vector<ChangeNumber> alarms;
  leave_out_damage([&] {
    while (rows.step()) alarms.push_back(rows.integer(1));
  });
  std::ranges::sort(alarms);
  return alarms;
}

std::optional<ActiveRow> StoredRows::active_of(ChangeNumber alarm) {
  if (!alarms_.with(alarm).step()) return std::nullopt;
  const auto row = read_row<AlarmRow>(alarms_);
  if (row.merged) return std::nullopt;
  const auto standing = standing_of(row.fault, alarm);
  if (!standing) return std::nullopt;
  return active_row(*standing, std::nullopt);
}

std::vector<ActiveRow> StoredRows::active_at(Moment at) {
  const LedgerRow ledger = this->ledger();
  if (ledger.watermark_seq > 0 && at < ledger.watermark_at) {
    throw LedgerError("the ledger reaches back to " + format_moment(ledger.watermark_at) +
                      "; what was before is no longer kept");
  }
  const Sequence last = last_until(at, ledger);
  Statement eras(db_, "SELECT " + columns_sql<EraRow>() + " FROM era WHERE seq <= ? ORDER BY seq DESC LIMIT 1");
  if (!eras.with(std::max(last, ledger.watermark_seq + 1)).step()) return {};
  const auto era = read_row<EraRow>(eras);

  std::map<ChangeNumber, std::optional<StandingRow>> standing;
  Statement rows(db_, "SELECT " + columns_sql<StandingRow>() + " FROM standing WHERE era = ?");
  rows.with(era.seq);
  while (rows.step()) {
    leave_out_damage([&] {
      const auto row = read_row<StandingRow>(rows);
      standing[row.fault] = row;
    });
  }
  Statement changes(db_, "SELECT " + columns_sql<ChangeRow>() + ", " + moment_sql() +
                             " FROM change JOIN event ON event.seq = change.seq WHERE change.number >= ? "
                             "ORDER BY change.number");
  changes.with(std::max(era.first_change, ledger.watermark_change + 1));
  ChangeNumber through = std::max(era.first_change - 1, ledger.watermark_change);
  for (bool more = true; more && changes.step();) {
    leave_out_damage([&] {
      const auto change = read_row<ChangeRow>(changes);
      more = change.seq <= last;
      if (more) through = change.number;
      if (more) apply(standing[change.fault], change, era.seq, moment_of(changes, kWidth<ChangeRow>));
    });
  }
  std::vector<StandingRow> found;
  for (const auto& [fault, row] : standing) {
    if (row) found.push_back(*row);
  }
  out_of_service_ = out_of_service_after(last);
  return active_rows(found, through);
}

// Of the inputs that happened at this time or before, the last; retention may have
// taken it.
Sequence StoredRows::last_until(Moment at, const LedgerRow& ledger) {
  Statement eras(db_, "SELECT seq FROM era WHERE least_at <= ? ORDER BY seq DESC");
  Statement next_era(db_, "SELECT seq FROM era WHERE seq > ? ORDER BY seq LIMIT 1");
  Statement last(db_, std::string("SELECT seq FROM event WHERE seq >= ? AND seq < ? AND ") + moment_sql() +
                          " <= ? ORDER BY seq DESC LIMIT 1");
  eras.with(at);
  while (eras.step()) {
    const Sequence era = eras.integer(0);
    const Sequence end = next_era.with(era).step() ? next_era.integer(0) : std::numeric_limits<Sequence>::max();
    if (end <= ledger.watermark_seq) break;
    if (last.with(era, end, at).step()) return std::max(last.integer(0), ledger.watermark_seq);
  }
  return ledger.watermark_seq;
}

std::vector<ActiveRow> StoredRows::active_rows(const std::vector<StandingRow>& standing,
                                               std::optional<ChangeNumber> through) {
  std::vector<ActiveRow> found;
  found.reserve(standing.size());
  for (const StandingRow& one : standing) {
    leave_out_damage([&] { found.push_back(active_row(one, through)); });
  }
  return found;
}

ActiveRow StoredRows::active_row(const StandingRow& one, std::optional<ChangeNumber> through) {
  ActiveRow active{.fault = fault(one.fault), .alarm_since = 0, .shown = record(one.shown)};
  const ChangeNumber number = one.alarm;
  if (!alarms_.with(number).step()) throw LedgerError(gone("alarm", number));
  const auto alarm = read_row<AlarmRow>(alarms_);
  active.alarm_since = alarm.created;
  active.standing = alarm.standing;
  if (alarm.operated != 0) {
    std::vector<AlarmAction> actions = actions_of(number, through.value_or(alarm.operated));
    if (through) active.standing = standing_after(actions);
    const auto by = std::ranges::find(actions, state_change(active.standing), &AlarmAction::number);
    if (by != actions.end()) active.state_by = std::move(*by);
  }
  active.is_out_of_service = is_out_of_service(active.fault.fault_dn);
  if (!through) active.chattering = chattering(active.fault.fault_dn);
  if (one.count > 0) {  // as it was then
    active.fault.severity = one.severity;
    active.fault.updated = one.updated_at;
    active.fault.count = one.count;
    active.fault.ended.reset();
    active.fault.ended_at = 0;
  }
  active.fault.alarm = number;
  active.fault.shown = one.shown;
  active.fault.reporters = one.reporters;
  return active;
}

StoredRows::Reports StoredRows::reports_of(ChangeNumber fault) {
  Reports reports;
  fault_reports_.with(fault);
  while (fault_reports_.step()) {
    leave_out_damage([&] {
      const auto row = read_row<ReportRow>(fault_reports_);
      if (row.last_seq > reports.shown) {
        reports.shown = row.last_seq;
        reports.updated = row.last_at;
      }
      reports.count += row.count;
      reports.change = std::max(reports.change, row.change);
      ++reports.reporters;
    });
  }
  return reports;
}

StoredFault StoredRows::fault(ChangeNumber number) {
  if (!faults_.with(number).step()) throw LedgerError(gone("fault", number));
  return fault(faults_);
}

StoredFault StoredRows::fault(const Statement& statement) {
  NamedFault named(statement);
  const FaultRow& row = named.row;
  StoredFault fault{.number = row.number,
                    .alarm = row.alarm,
                    .fault_dn = std::move(named.fault_dn),
                    .dn = std::move(named.dn),
                    .code = named.code,
                    .name = std::move(named.name),
                    .severity = row.severity,
                    .raised = row.raised_seq,
                    .since = named.raised_at,
                    .shown = row.shown_seq,
                    .updated = row.updated_at,
                    .count = row.count,
                    .reporters = 0,
                    .ended = named.ended_seq,
                    .ended_at = named.ended_at,
                    .ending = named.ending};
  if (row.ended) return fault;
  const Reports reports = reports_of(row.number);
  fault.shown = reports.shown;
  if (reports.shown > row.updated_seq) fault.updated = reports.updated;
  fault.count += reports.count;
  fault.reporters = reports.reporters;
  return fault;
}

std::string StoredRows::changes_sql(Direction direction) {
  return "SELECT " + columns_sql<ChangeRow>() + ", " + record_columns() + ", " + columns_sql<FaultRow>() +
         ", name.fault_dn FROM change JOIN event ON event.seq = change.seq" + record_joins() +
         " LEFT JOIN fault ON fault.number = change.fault LEFT JOIN event AS raising ON raising.seq = fault.raised_seq "
         "LEFT JOIN form AS name ON name.seq = raising.form WHERE change.number " +
         (direction == Direction::kForwards ? "> ? ORDER BY change.number" : "< ? ORDER BY change.number DESC");
}

ChangeNumber StoredRows::next_readable_change(ChangeNumber number) {
  ChangeNumber found = last_change() + 1;
  changes(Direction::kForwards, number, [&found](auto&& change) {
    found = change.stored.change.number;
    return false;
  });
  return found;
}

StoredRows::ChangeOfFault StoredRows::change(const Statement& row) {
  const auto change = read_row<ChangeRow>(row);
  const RecordRow record(row, kWidth<ChangeRow>);
  constexpr int kFault = kWidth<ChangeRow> + RecordRow::kColumns;
  constexpr int kName = kFault + kWidth<FaultRow>;
  const bool is_of_object = change.fault == 0 && record.action;
  if (!is_of_object && (row.is_null(kFault) || row.is_null(kName))) throw LedgerError(gone("fault", change.fault));
  const std::string dn = is_of_object ? record.action->dn : std::string(row.text(kName));
  StoredChange stored{
      .change = stored_change(change, record.event.moment(), dn), .event = stored_event(record), .record = {}};
  if (record.event.form) stored.record = stored_record(record);
  if (record.action) stored.action = stored_action(*record.action);
  if (!is_of_object) read_row<FaultRow>(row, kFault);  // it must prove right: it leads to the DN
  const bool is_raised = change.kind == ChangeKind::kRaised || change.kind == ChangeKind::kRefreshed;
  return {std::move(stored), is_raised ? change.after : change.before};
}

std::optional<StoredAlarm> StoredRows::alarm(ChangeNumber number) {
  if (!alarms_.with(number).step()) return std::nullopt;
  const auto row = read_row<AlarmRow>(alarms_);
  alarms_.reset();
  StoredAlarm alarm{.number = row.number,
                    .dn = {},
                    .created = row.created,
                    .changed = 0,
                    .severity = row.severity,
                    .worst = row.worst,
                    .ended = {},
                    .ended_at = 0,
                    .ending = ChangeKind::kCleared,
                    .merged_into = row.merged_into,
                    .related = row.related,
                    .steps = {},
                    .standing = row.standing};
  if (row.operated != 0) alarm.actions = actions_of(number, std::numeric_limits<ChangeNumber>::max());
  std::vector<ChangeNumber> steps;
  steps_.with(number);
  while (steps_.step()) steps.push_back(steps_.integer(0));
  std::optional<ChangeNumber> last_ended;
  for (const ChangeNumber step : steps) {
    alarm.steps.push_back(fault(step));
    if (step == row.fault) last_ended = read_row<FaultRow>(faults_).ended;
  }
  const auto last = std::ranges::find(alarm.steps, row.fault, &StoredFault::number);
  if (last == alarm.steps.end()) throw LedgerError(gone("fault", row.fault));
  alarm.dn = last->dn;
  alarm.is_out_of_service = !row.merged && !last->ended && is_out_of_service(last->fault_dn);
  alarm.changed = last->updated;
  if (!row.merged && last->ended) {
    alarm.ended = last_ended;
    alarm.ended_at = alarm.changed = last->ended_at;
    alarm.ending = last->ending;
    return alarm;
  }
  if (one_change_.with(head_of(row)).step()) {
    alarm.changed = moment_of(one_change_, kWidth<ChangeRow>);
  } else if (row.merged) {
    throw LedgerError(gone("change", *row.merged));
  }
  if (row.merged) {
    alarm.ended = row.merged;
    alarm.ended_at = alarm.changed;
    alarm.ending = ChangeKind::kMerged;
  }
  return alarm;
}

std::vector<ChangeNumber> StoredRows::alarms_of(const std::string& fault_dn, std::int64_t limit) {
  const std::size_t most = limit > 0 ? static_cast<std::size_t>(limit) : std::numeric_limits<std::size_t>::max();
  // Those that the latest faults belong to now come before those that they were raised for.
  std::vector<ChangeNumber> numbers;
  Statement rows(db_, fault_dn.empty() ? std::string("SELECT number, NULL FROM alarm ORDER BY number DESC")
                                       : "SELECT fault.later_alarm, fault.alarm FROM " + named_faults() +
                                             " ORDER BY fault.number DESC");
  if (!fault_dn.empty()) rows.with(fault_name_hash(fault_dn), fault_dn);
  while (numbers.size() < most && rows.step()) {
    for (const int column : {0, 1}) {
      if (rows.is_null(column) || numbers.size() == most) continue;
      if (std::ranges::find(numbers, rows.integer(column)) == numbers.end()) numbers.push_back(rows.integer(column));
    }
  }
  std::ranges::sort(numbers);
  return numbers;
}

std::vector<ChangeNumber> StoredRows::alarms_before(ChangeNumber before, std::int64_t limit) {
  Statement rows(db_, "SELECT number FROM alarm WHERE number < ? ORDER BY number DESC LIMIT ?");
  rows.with(before, limit);
  std::vector<ChangeNumber> numbers;
  while (rows.step()) numbers.push_back(rows.integer(0));
  std::ranges::reverse(numbers);
  return numbers;
}

// It reads what happened since the list began, and no more of the ledger: the alarms that were raised since and, as
// they are older, only if there is room for more, the ends of those that were active then.
std::vector<ChangeNumber> StoredRows::missed(std::int64_t limit) {
  const std::string is_missed =
      " alarm.merged IS NULL AND alarm.acknowledged = 0 AND alarm.closed = 0 AND alarm.shelved = 0 AND "
      "alarm.was_told = 1 ";
  Statement raised_since(db_, "SELECT alarm.number FROM alarm JOIN fault ON fault.number = alarm.fault WHERE" +
                                  is_missed +
                                  "AND alarm.number > ? AND fault.ended IS NOT NULL ORDER BY alarm.number DESC");
  Statement ended_since(db_,
                        "SELECT alarm.number FROM change CROSS JOIN alarm ON alarm.number = change.alarm "
                        "JOIN fault ON fault.number = alarm.fault AND fault.ended = change.number WHERE" +
                            is_missed +
                            "AND change.number > ?1 AND change.kind IN (?2, ?3, ?4) AND change.alarm <= ?1 "
                            "ORDER BY alarm.number DESC");
  const ChangeNumber began = ledger().missed_through;
  raised_since.with(began);
  ended_since.with(began, static_cast<int>(ChangeKind::kCleared), static_cast<int>(ChangeKind::kSuperseded),
                   static_cast<int>(ChangeKind::kWithdrawn));
  const std::size_t most = limit > 0 ? static_cast<std::size_t>(limit) : std::numeric_limits<std::size_t>::max();
  std::vector<ChangeNumber> numbers;
  for (Statement* rows : {&raised_since, &ended_since}) {
    while (numbers.size() < most && rows->step()) numbers.push_back(rows->integer(0));
  }
  std::ranges::reverse(numbers);
  return numbers;
}

std::vector<AlarmAction> StoredRows::actions_of(ChangeNumber alarm, ChangeNumber through) {
  std::vector<AlarmAction> actions;
  actions_.with(alarm, through);
  while (actions_.step()) {
    leave_out_damage([&] {
      const auto row = read_row<AlarmActionRow>(actions_);
      AlarmAction one{.number = row.change, .kind = row.kind, .at = row.at, .action = {}};
      if (!actions_.is_null(kWidth<AlarmActionRow>)) {
        one.action = stored_action(read_row<ActionRow>(actions_, kWidth<AlarmActionRow>));
      }
      actions.push_back(std::move(one));
    });
  }
  return actions;
}

std::vector<StoredMaintenance> StoredRows::maintenance() {
  Statement rows(db_, "SELECT " + columns_sql<MaintenanceRow, ActionRow>() +
                          " FROM maintenance LEFT JOIN action ON action.seq = maintenance.seq ORDER BY maintenance.dn");
  std::vector<StoredMaintenance> found;
  while (rows.step()) {
    leave_out_damage([&] {
      const auto row = read_row<MaintenanceRow>(rows);
      StoredMaintenance one{.maintenance = {.dn = row.dn,
                                            .since = row.seq,
                                            .since_at = row.since_at,
                                            .until = row.until,
                                            .until_age = row.until_age},
                            .action = {}};
      if (!rows.is_null(kWidth<MaintenanceRow>)) {
        one.action = stored_action(read_row<ActionRow>(rows, kWidth<MaintenanceRow>));
      }
      found.push_back(std::move(one));
    });
  }
  return found;
}

bool StoredRows::is_out_of_service(std::string_view fault_dn) {
  if (!out_of_service_) {
    out_of_service_.emplace();
    for (const StoredMaintenance& one : maintenance()) out_of_service_->insert(one.maintenance.dn);
  }
  return is_under_one_of(fault_dn, *out_of_service_);
}

std::vector<ChatteringFault> StoredRows::chattering() {
  if (!chattering_) {
    chattering_.emplace();
    leave_out_damage([&] {
      Statement rows(db_, select_sql<ChatteringRow>());
      while (rows.step()) {
        leave_out_damage([&] {
          ChatteringFault fault = chattering_fault(read_row<ChatteringRow>(rows));
          std::string fault_dn = fault.fault_dn;
          chattering_->emplace(std::move(fault_dn), std::move(fault));
        });
      }
    });
  }
  std::vector<ChatteringFault> found;
  for (const auto& [fault_dn, fault] : *chattering_) found.push_back(fault);
  return found;
}

std::optional<ChatteringFault> StoredRows::chattering(std::string_view fault_dn) {
  if (!chattering_) chattering();
  const auto found = chattering_->find(fault_dn);
  return found != chattering_->end() ? std::optional(found->second) : std::nullopt;
}

// Goes back from now: each action about an object undoes what it did. All that are later than the watermark are there.
std::set<std::string, std::less<>> StoredRows::out_of_service_after(Sequence sequence) {
  std::set<std::string, std::less<>> objects;
  for (const StoredMaintenance& one : maintenance()) objects.insert(one.maintenance.dn);
  Statement later(db_, select_sql<ActionRow>() + " WHERE dn <> '' AND seq > ? ORDER BY seq DESC");
  Statement before(db_, select_sql<ActionRow>() + " WHERE dn <> '' AND dn = ? AND seq < ? ORDER BY seq DESC LIMIT 1");
  later.with(sequence);
  while (later.step()) {
    leave_out_damage([&] {
      const auto action = read_row<ActionRow>(later);
      const bool ends = action.kind == ActionKind::kEndMaintenance;  // only what is out of service can come back
      const bool was_out = ends || (before.with(action.dn, action.seq).step() &&
                                    read_row<ActionRow>(before).kind == ActionKind::kMaintain);
      if (was_out) {
        objects.insert(action.dn);
      } else {
        objects.erase(action.dn);
      }
    });
  }
  return objects;
}

std::optional<FaultRow> StoredRows::latest_fault(const std::string& fault_dn) {
  Statement row(
      db_, "SELECT " + columns_sql<FaultRow>() + " FROM " + named_faults() + " ORDER BY fault.number DESC LIMIT 1");
  if (!row.with(fault_name_hash(fault_dn), fault_dn).step()) return std::nullopt;
  return read_row<FaultRow>(row);
}

std::vector<StoredReport> StoredRows::reports(ChangeNumber fault) {
  std::vector<ReportRow> rows;
  fault_reports_.with(fault);
  while (fault_reports_.step()) {
    leave_out_damage([&] { rows.push_back(read_row<ReportRow>(fault_reports_)); });
  }
  std::ranges::sort(rows, {}, &ReportRow::since_seq);
  std::vector<StoredReport> reports;
  reports.reserve(rows.size());
  for (const ReportRow& row : rows) {
    leave_out_damage([&] {
      reports.push_back({.report = {.reporter = {row.entity, row.sensor, row.instance},
                                    .since = row.since_seq,
                                    .since_at = row.since_at,
                                    .last = row.last_seq,
                                    .last_at = row.last_at,
                                    .count = row.count},
                         .record = record(row.last_seq)});
    });
  }
  return reports;
}

// Of an input that says that a fault has settled.
std::string StoredRows::settled_dn(Sequence sequence) {
  Statement row(db_, select_sql<ActionRow>() + " WHERE seq = ?");
  if (!row.with(sequence).step()) throw LedgerError(gone("action", sequence));
  return read_row<ActionRow>(row).dn;
}

// The latest change of an alarm.
ChangeNumber StoredRows::head_of(const AlarmRow& alarm) {
  if (alarm.merged) return *alarm.merged;
  if (!faults_.with(alarm.fault).step()) throw LedgerError(gone("fault", alarm.fault));
  const auto fault = read_row<FaultRow>(faults_);
  return fault.ended ? *fault.ended : std::max({alarm.operated, fault.change, reports_of(alarm.fault).change});
}

std::vector<Change> StoredRows::changes_of(ChangeNumber alarm, std::size_t most, std::uint64_t& not_told) {
  not_told = 0;
  if (!alarms_.with(alarm).step()) throw LedgerError(gone("alarm", alarm));
  ChangeNumber next = head_of(read_row<AlarmRow>(alarms_));
  const ChangeNumber gone_through = ledger().watermark_change;
  std::map<ChangeNumber, std::string> fault_dns;
  std::vector<Change> changes;
  bool is_whole = true;  // the way to the changes before a damaged one is lost
  while (is_whole && next > gone_through && changes.size() < most) {
    is_whole = false;
    leave_out_damage([&] {
      if (!one_change_.with(next).step()) throw LedgerError(gone("change", next));
      const auto row = read_row<ChangeRow>(one_change_);
      if (row.previous >= row.number) throw LedgerError("change " + std::to_string(next) + " comes before itself");
      std::string& fault_dn = fault_dns[row.fault];
      if (row.fault == 0) {
        fault_dn = settled_dn(row.seq);
      } else if (fault_dn.empty()) {
        if (!faults_.with(row.fault).step()) throw LedgerError(gone("fault", row.fault));
        fault_dn = NamedFault(faults_).fault_dn;
      }
      changes.push_back(stored_change(row, moment_of(one_change_, kWidth<ChangeRow>), fault_dn));
      not_told = row.of_alarm > 0 ? static_cast<std::uint64_t>(row.of_alarm - 1) : 0;
      next = row.previous;
      is_whole = true;
    });
  }
  std::ranges::reverse(changes);
  return changes;
}

}  // namespace polaiga::engine
