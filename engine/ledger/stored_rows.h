// What the rows of a ledger say together: records, faults, alarms and changes.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ledger/joined_rows.h"
#include "ledger/ledger_file.h"
#include "ledger/reader.h"
#include "ledger/stored.h"
#include "ledger/tables.h"

namespace polaiga::engine {

// Reads within a transaction of the caller's. A row that refers to one that is not
// there is a LedgerError, as all that no engine writes. Throws SqlError, too. Questions
// for many things leave out those that cannot be read.
class StoredRows {
 public:
  explicit StoredRows(const Database& db);

  // What was left out so far, and why; a sentence each.
  std::vector<std::string> left_out;

  // Does work that reads one thing; when that is damaged, it is left out.
  template <class Work>
  void leave_out_damage(Work work) {
    try {
      work();
    } catch (const LedgerError& error) {
      left_out.emplace_back(error.what());
    } catch (const SqlError& error) {
      if (!is_damage(error)) throw;
      left_out.emplace_back(std::string("a page of the file cannot be read: ") + error.what());
    }
  }

  LedgerRow ledger() const { return ledger_row(db_); }
  ChangeNumber last_change() const;

  // When the latest change was; nothing when there is none.
  std::optional<Moment> changed();

  StoredRecord record(Sequence sequence);
  std::optional<StoredRecord> kept_record(Sequence sequence);  // nothing when it cannot be read any more
  HostTables tables_of(Sequence sequence);
  std::string profile_text();  // empty: there is no profile

  // Those that the latest inputs were handled under; nothing when there are none.
  std::optional<HostTables> latest_tables();

  // In the order in which they were raised.
  std::vector<ActiveRow> active();
  std::vector<ActiveRow> active_at(Moment at);

  // The alarms that have an active fault, by number, and the active fault of one; nothing: it is over.
  std::vector<ChangeNumber> active_alarms();
  std::optional<ActiveRow> active_of(ChangeNumber alarm);

  // The changes after a number, in their order, or those before it, backwards.
  // `take` answers whether to go on. Damaged ones are left out.
  enum class Direction { kForwards, kBackwards };
  static std::string changes_sql(Direction direction);
  template <class Take>
  void changes(Direction direction, ChangeNumber number, Take take) {
    Statement rows(db_, changes_sql(direction));
    rows.with(number);
    leave_out_damage([&] {
      for (bool more = true; more && rows.step();) {
        leave_out_damage([&] { more = take(change(rows)); });
      }
    });
  }

  // The number of the first change after `number` that can be read; when there is none,
  // the number after the last one.
  ChangeNumber next_readable_change(ChangeNumber number);

  // A change with the severity of its fault: after it or, when it ended the fault, before.
  struct ChangeOfFault {
    StoredChange stored;
    Severity severity = Severity::kIndeterminate;
  };

  // Nothing when the ledger does not know the alarm.
  std::optional<StoredAlarm> alarm(ChangeNumber number);

  // The latest of them; 0 for all.
  std::vector<ChangeNumber> alarms_of(const std::string& fault_dn, std::int64_t limit);
  // The latest `limit` alarms with numbers below `before`, the oldest first.
  std::vector<ChangeNumber> alarms_before(ChangeNumber before, std::int64_t limit);

  // The latest of those that came and went unacknowledged; 0 for all.
  std::vector<ChangeNumber> missed(std::int64_t limit);

  // What operators did to an alarm, in their order, up to a change.
  std::vector<AlarmAction> actions_of(ChangeNumber alarm, ChangeNumber through);

  std::vector<StoredMaintenance> maintenance();

  // The faults that are chattering, by DN.
  std::vector<ChatteringFault> chattering();
  std::optional<ChatteringFault> chattering(std::string_view fault_dn);

  // The fault that is active, or was last; nothing when the ledger does not know it.
  std::optional<FaultRow> latest_fault(const std::string& fault_dn);
  std::vector<StoredReport> reports(ChangeNumber fault);

  // The latest changes of an alarm, in their order, and how many came before them.
  std::vector<Change> changes_of(ChangeNumber alarm, std::size_t most, std::uint64_t& not_told);

 private:
  struct Reports {
    Sequence shown = 0;
    Moment updated = 0;
    std::uint64_t count = 0;
    std::uint32_t reporters = 0;
    ChangeNumber change = 0;
  };

  static ChangeOfFault change(const Statement& row);
  // Nothing when nobody reports the fault.
  std::optional<StandingRow> standing_of(ChangeNumber fault, ChangeNumber alarm);
  // As it was after change `through`; nothing: as it is.
  std::vector<ActiveRow> active_rows(const std::vector<StandingRow>& standing, std::optional<ChangeNumber> through);
  ActiveRow active_row(const StandingRow& one, std::optional<ChangeNumber> through);
  bool is_out_of_service(std::string_view fault_dn);
  std::string settled_dn(Sequence sequence);
  std::set<std::string, std::less<>> out_of_service_after(Sequence sequence);
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
  Statement actions_;
  std::optional<std::set<std::string, std::less<>>> out_of_service_;               // of the time that is asked for
  std::optional<std::map<std::string, ChatteringFault, std::less<>>> chattering_;  // the same
};

}  // namespace polaiga::engine
