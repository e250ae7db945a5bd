#include "ledger/restore.h"

#include <algorithm>
#include <set>

#include "ledger/stored_rows.h"
#include "model/record_text.h"

namespace polaiga::engine {
namespace {

// Of which the raises are read at a start.
constexpr std::int64_t kMostRecentChanges = 20'000;

void restore_steps(const Database& db, Restored& restored) {
  Statement events(db, "SELECT " + columns_sql<EventRow, SubjectRow, SettingRow>() +
                           " FROM event JOIN subject ON subject.seq = event.subject "
                           "JOIN setting ON setting.id = event.setting "
                           "WHERE event.seq IN (SELECT seq FROM filter_state) ORDER BY event.seq");
  while (events.step()) {
    const auto event = read_row<EventRow>(events);
    const auto subject = read_row<SubjectRow>(events, kWidth<EventRow>);
    const auto setting = read_row<SettingRow>(events, kWidth<EventRow> + kWidth<SubjectRow>);
    restored.steps.push_back({event.seq, sensor_event(event, subject), setting.tables});
    restored.tables.try_emplace(setting.tables);
  }
  Statement tables(db, "SELECT " + columns_sql<TablesRow>() + " FROM tables WHERE id = ?");
  for (auto& [id, content] : restored.tables) {
    if (!tables.with(id).step()) throw LedgerError("the host tables " + std::to_string(id) + " are gone");
    const auto row = read_row<TablesRow>(tables);
    content = {row.nm, row.cmc, row.drive_bp};
  }
}

void restore_faults(const Database& db, std::vector<ActiveFault>& faults) {
  Statement reports(db, "SELECT " + columns_sql<ReportRow>() + " FROM report ORDER BY fault");
  Statement rows(db,
                 "SELECT " + columns_sql<AlarmRow>() + ", " + NamedFault::columns() + " FROM " + NamedFault::tables() +
                     " JOIN alarm ON alarm.number = coalesce(fault.later_alarm, fault.alarm) "
                     "WHERE fault.number = ?1 AND fault.ended IS NULL AND alarm.merged IS NULL AND alarm.fault = ?1");
  Statement records(db, "SELECT " + columns_sql<EventRow, SubjectRow, FormRow>() +
                            " FROM event JOIN subject ON subject.seq = event.subject "
                            "JOIN form ON form.seq = event.form WHERE event.seq = ?");
  const auto must_have_record = [&records](Sequence sequence) {
    if (!records.with(sequence).step()) {
      throw LedgerError("the record of input " + std::to_string(sequence) + " is gone, which an active fault needs");
    }
    read_row<EventRow>(records);
    read_row<SubjectRow>(records, kWidth<EventRow>);
    read_row<FormRow>(records, kWidth<EventRow> + kWidth<SubjectRow>);
  };
  Sequence updated = 0;  // the input that updated the fault last
  while (reports.step()) {
    const auto row = read_row<ReportRow>(reports);
    if (faults.empty() || faults.back().fault != row.fault) {
      if (!rows.with(row.fault).step()) {
        throw LedgerError("fault " + std::to_string(row.fault) + " is reported, but is not there with its alarm");
      }
      const auto alarm = read_row<AlarmRow>(rows);
      const NamedFault named(rows, kWidth<AlarmRow>);
      const FaultRow& fault = named.row;
      faults.push_back({.fault_dn = named.fault_dn,
                        .code = named.code,
                        .severity = fault.severity,
                        .fault = fault.number,
                        .alarm = alarm.number,
                        .alarm_since = alarm.created,
                        .since = named.raised_at,
                        .updated = fault.updated_at,
                        .shown = 0,
                        .count = fault.count,
                        .reports = {},
                        .standing = alarm.standing});
      updated = fault.updated_seq;
    }
    must_have_record(row.since_seq);
    if (row.last_seq != row.since_seq) must_have_record(row.last_seq);
    ActiveFault& fault = faults.back();
    fault.shown = std::max(fault.shown, row.last_seq);
    fault.count += row.count;
    if (row.last_seq > updated) {
      updated = row.last_seq;
      fault.updated = row.last_at;
    }
    fault.reports.push_back({.reporter = {row.entity, row.sensor, row.instance},
                             .since = row.since_seq,
                             .since_at = row.since_at,
                             .last = row.last_seq,
                             .last_at = row.last_at,
                             .count = row.count});
  }
  for (ActiveFault& fault : faults) std::ranges::sort(fault.reports, {}, &Report::since);
}

}  // namespace

Restored restore(const Database& db) {
  Restored restored;
  Statement remembered(db, "SELECT " + columns_sql<FilterStateRow>() + " FROM filter_state ORDER BY slot, seq");
  std::set<Sequence> needed;
  while (remembered.step()) {
    const auto row = read_row<FilterStateRow>(remembered);
    restored.filter_state[row.slot].push_back(row.seq);
    needed.insert(row.seq);
  }
  restore_steps(db, restored);
  if (restored.steps.size() != needed.size()) {
    throw LedgerError("events that shaped what the library remembers are gone");
  }
  restore_faults(db, restored.faults);
  Statement maintenance(db, select_sql<MaintenanceRow>());
  while (maintenance.step()) {
    const auto row = read_row<MaintenanceRow>(maintenance);
    restored.maintenance.push_back(
        {.dn = row.dn, .since = row.seq, .since_at = row.since_at, .until = row.until, .until_age = row.until_age});
  }
  Statement chattering(db, select_sql<ChatteringRow>() + " ORDER BY last_age, change");
  while (chattering.step()) restored.chattering.push_back(chattering_fault(read_row<ChatteringRow>(chattering)));
  return restored;
}

std::vector<RecentRaise> recent_raises(const Database& db, std::int64_t age) {
  const Moment created = ledger_row(db).created;
  Statement changes(db, "SELECT " + columns_sql<ChangeRow, EventRow>() +
                            " FROM change JOIN event ON event.seq = change.seq ORDER BY change.number DESC LIMIT ?");
  Statement names(db, "SELECT " + columns_sql<FormRow>() + " FROM form WHERE seq = ?");
  std::vector<RecentRaise> found;
  changes.with(kMostRecentChanges);
  while (changes.step()) {
    try {
      const auto event = read_row<EventRow>(changes, kWidth<ChangeRow>);
      const std::int64_t then = event.age_in(created);
      if (then < age) break;
      if (read_row<ChangeRow>(changes).kind != ChangeKind::kRaised) continue;
      if (!event.form || !names.with(*event.form).step()) continue;
      const auto form = read_row<FormRow>(names);
      found.push_back({.fault_dn = std::string(field_text(form.record.fault_dn)), .age = then});
    } catch (const DamagedRow&) {  // whoever checks the ledger tells of it
    }
  }
  std::ranges::reverse(found);
  return found;
}

}  // namespace polaiga::engine
