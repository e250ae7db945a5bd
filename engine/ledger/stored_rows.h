// What the rows of a ledger say together: records, faults, alarms and changes.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ledger/reader.h"
#include "ledger/stored.h"
#include "ledger/tables.h"

namespace polaiga::engine {

// A fault's row with what its raise and its end tell of it: columns() FROM tables().
struct NamedFault {
  explicit NamedFault(const Statement& statement, int first = 0);

  static std::string columns();
  static std::string tables();

  FaultRow row;
  std::string fault_dn;
  std::string dn;
  std::uint32_t code = 0;
  std::string name;
  Moment raised_at = 0;
  std::optional<Sequence> ended_seq;
  Moment ended_at = 0;
  ChangeKind ending = ChangeKind::kCleared;
};

SensorEvent sensor_event(const EventRow& event, const SubjectRow& subject);

// Reads within a transaction of the caller's. A row that refers to one that is not
// there is a LedgerError, as all that no engine writes. Throws SqlError, too.
class StoredRows {
 public:
  explicit StoredRows(const Database& db);

  LedgerRow ledger() const { return ledger_row(db_); }
  ChangeNumber last_change() const;

  StoredRecord record(Sequence sequence);
  HostTables tables_of(Sequence sequence);

  // In the order in which they were raised.
  std::vector<ActiveRow> active();
  std::vector<ActiveRow> active_at(Moment at);

  // The changes after a number, in their order, or those before it, backwards.
  // `take` answers whether to go on.
  enum class Direction { kForwards, kBackwards };
  static std::string changes_sql(Direction direction);
  template <class Take>
  void changes(Direction direction, ChangeNumber number, Take take) {
    Statement rows(db_, changes_sql(direction));
    rows.with(number);
    while (rows.step() && take(change(rows))) {
    }
  }

  // A change with the severity of its fault.
  struct ChangeOfFault {
    StoredChange stored;
    Severity severity = Severity::kIndeterminate;
  };

  // Nothing when the ledger does not know the alarm.
  std::optional<StoredAlarm> alarm(ChangeNumber number);

  // The latest of them; 0 for all.
  std::vector<ChangeNumber> alarms_of(const std::string& fault_dn, std::int64_t limit);

  // The fault that is active, or was last; nothing when the ledger does not know it.
  std::optional<FaultRow> latest_fault(const std::string& fault_dn);
  std::vector<StoredReport> reports(ChangeNumber fault);

  // The latest changes of an alarm, in their order, and how many came before them.
  std::vector<Change> changes_of(ChangeNumber alarm, std::size_t most, std::uint64_t& left_out);

 private:
  struct Reports {
    Sequence shown = 0;
    Moment updated = 0;
    std::uint64_t count = 0;
    std::uint32_t reporters = 0;
    ChangeNumber change = 0;
  };

  static ChangeOfFault change(const Statement& row);
  std::vector<ActiveRow> active_rows(const std::vector<StandingRow>& standing);
  Sequence last_until(Moment at, const LedgerRow& ledger);
  Reports reports_of(ChangeNumber fault);
  StoredFault fault(ChangeNumber number);
  StoredFault fault(const Statement& statement);
  ChangeNumber head_of(const AlarmRow& alarm);  // its latest change

  const Database& db_;
  Statement records_;
  Statement fault_reports_;
  Statement alarms_;
  Statement steps_;
  Statement faults_;
  Statement one_change_;
};

}  // namespace polaiga::engine
