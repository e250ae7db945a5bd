// The ledger: every accepted event and what came of it, durable. One engine
// writes to it; the questions of ledger_query.h may be asked meanwhile.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/fault_engine.h"
#include "filter/filter_state.h"
#include "filter/host_tables.h"
#include "ledger/ledger_file.h"

namespace polaiga::engine {

// An event with its sequence number and what came of it.
struct LedgerEntry {
  Sequence sequence = 0;
  Moment received = 0;
  SensorEvent line;
  Handled handled;
};

// What is written at once, or not at all.
struct LedgerBatch {
  std::vector<LedgerEntry> entries;
  std::map<Slot, std::vector<Sequence>> filter_state;  // of the slots that changed
};

// How much of the past is kept; 0 is all of it. What active faults, the library's
// memory and publishers need is kept in any case.
struct Retention {
  std::int64_t events = 1'000'000;
  std::int64_t days = 365;
};

class Ledger {
 public:
  // Throws LedgerError.
  Ledger(const std::string& path, const Retention& retention, Moment now);

  // Where a damaged ledger went, in place of which this one was begun; else empty.
  const std::string& set_aside() const { return set_aside_; }

  Sequence last() const { return last_; }
  std::optional<Sequence> find(const std::string& id);

  // Gives the engine its active faults, and the library's memory back; the host
  // tables are then those of the last event.
  FilterState restore(FaultEngine& engine);

  // The host tables that events are handled under from now on.
  void use_tables(const HostTables& in_use);

  // In one transaction, durable when it returns; the entries' numbers follow
  // last(). Throws SqlError, and then the ledger is as it was: the same batch may
  // be written later.
  void write(const LedgerBatch& batch);

 private:
  struct Statements {
    explicit Statements(const Database& db);
    Statement find_id, add_tables, add_event, add_record, raise, refresh, end, forget_slot, add_slot;
    Statement next_events, least_cursor, drop_episodes, latest_gone, drop_records, drop_events, set_horizon, survivors;
  };

  Ledger(OpenedLedger&& opened, const Retention& retention);

  HostTables tables(std::int64_t id) const;
  void restore_faults(ActiveFaults& faults);
  void write(const LedgerEntry& entry);
  void write_record(const LedgerEntry& entry);
  void end(Sequence raised, const LedgerEntry& entry, const char* ending);
  Sequence prunable_through(const LedgerBatch& batch);
  void prune(const LedgerBatch& batch);
  void drop(Sequence after, Sequence through);

  Retention retention_;
  std::string set_aside_;
  Database db_;
  Statements sql_;
  Sequence last_ = 0;
  Sequence pruned_through_ = 0;
  Sequence next_sweep_ = 0;               // when the horizon has come this far
  std::int64_t tables_id_ = 0;            // of the tables in use
  std::optional<HostTables> new_tables_;  // those in use, until they are written
};

}  // namespace polaiga::engine
