#include "ledger/tables.h"

#include "base/printable.h"

namespace polaiga::engine {

void apply(std::optional<StandingRow>& standing, const ChangeRow& change, Sequence era, Moment at) {
  switch (change.kind) {
    case ChangeKind::kRaised:
      standing = {.era = era,
                  .fault = change.fault,
                  .alarm = 0,
                  .severity = change.after,
                  .shown = 0,
                  .reporters = 0,
                  .updated_at = 0,
                  .count = 0};
      break;
    case ChangeKind::kCleared:
    case ChangeKind::kSuperseded:
    case ChangeKind::kWithdrawn:
      standing.reset();
      return;
    case ChangeKind::kMerged:  // the change that follows at once says all
    case ChangeKind::kChattering:
    case ChangeKind::kSettled:
      return;
    default:
      if (is_of_operators(change.kind)) return;
  }
  if (!standing) return;
  standing->alarm = change.alarm;
  standing->severity = change.after;
  standing->shown = change.shown;
  standing->reporters = change.reporters;
  if (change.kind == ChangeKind::kPartlyCleared) return;
  standing->updated_at = at;
  ++standing->count;
}

ChatteringRow chattering_row(const ChatteringFault& fault) {
  return {.fault_dn = fault.fault_dn,
          .change = fault.change,
          .since_at = fault.since,
          .raises = fault.raises,
          .last_age = fault.last_age,
          .alarm = fault.alarm,
          .shown_alarm = fault.shown_alarm,
          .shown_severity = fault.shown_severity,
          .was_told = fault.was_told};
}

ChatteringFault chattering_fault(const ChatteringRow& row) {
  return {.fault_dn = row.fault_dn,
          .change = row.change,
          .since = row.since_at,
          .raises = row.raises,
          .last_age = row.last_age,
          .alarm = row.alarm,
          .shown_alarm = row.shown_alarm,
          .shown_severity = row.shown_severity,
          .was_told = row.was_told};
}

std::string insert_standing_sql() {
  return "INSERT INTO standing (era, fault, alarm, severity, shown, reporters, updated_at, count) "
         "SELECT ?, fault.number, coalesce(fault.later_alarm, fault.alarm), fault.severity, max(report.last_seq), "
         "count(*), "
         // of the report with the greatest last_seq, as SQLite promises for columns beside max()
         "iif(fault.updated_seq > report.last_seq, fault.updated_at, report.last_at), "
         "fault.count + sum(report.count) "
         "FROM report JOIN fault ON fault.number = report.fault GROUP BY report.fault";
}

// FNV-1a of 64 bits, less one bit, as numbers of the ledger are not negative.
std::int64_t fault_name_hash(std::string_view fault_dn) {
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char c : fault_dn) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  return static_cast<std::int64_t>(hash >> 1U);
}

LedgerRow ledger_row(const Database& db) {
  Statement row(db, "SELECT " + columns_sql<LedgerRow>() + " FROM ledger");
  if (!row.step()) throw LedgerError("the ledger's own row is gone");
  auto ledger = read_row<LedgerRow>(row);
  if (ledger.id.size() != 32 || ledger.id.find_first_not_of("0123456789abcdef") != std::string::npos) {
    throw LedgerError("the ledger's id is not 32 hexadecimal digits: " + in_quotes(ledger.id));
  }
  return ledger;
}

std::string schema() {
  return create_table<LedgerRow>() + create_table<BuildRow>() + create_table<TablesRow>() + create_table<SettingRow>() +
         create_table<EraRow>() + create_table<SubjectRow>() + create_table<FormRow>() + create_table<EventRow>() +
         create_table<ChangeRow>() + create_table<AlarmRow>() + create_table<FaultRow>() + create_table<StepRow>() +
         create_table<ReportRow>() + create_table<ShownAgainRow>() + create_table<StandingRow>() +
         create_table<FilterStateRow>() + create_table<AlarmProfileRow>() + create_table<CursorRow>() +
         create_table<GapRow>() + create_table<FormerIdRow>() + create_table<ActionRow>() +
         create_table<AlarmActionRow>() + create_table<MaintenanceRow>() + create_table<ChatteringRow>() +
         "CREATE INDEX alarm_action_alarm ON alarm_action (alarm);\n"
         "CREATE INDEX alarm_action_seq ON alarm_action (seq);\n"
         "CREATE INDEX action_dn ON action (dn, seq) WHERE dn <> '';\n"
         "CREATE UNIQUE INDEX event_id ON event (id, subject IS NULL) WHERE id IS NOT NULL;\n"
         "CREATE INDEX fault_name ON fault (number >> " +
         std::to_string(kFaultBlockBits) + ", name);\n";
}

}  // namespace polaiga::engine
