// Ledgers for tests, of records that no filter made.
#pragma once

#include <string>
#include <vector>

#include "intake/event_parser.h"
#include "ledger/ledger.h"
#include "support/record.h"

namespace polaiga::engine::test {

struct EntryOf {
  RecordOf record = {};
  bool reported = true;
  std::string id = {};
  Moment received = 1000;
  std::vector<std::string> withdrawn = {};
};

// Writes an event that came to that; its number.
inline Sequence write(Ledger& ledger, ActiveFaults& faults, const EntryOf& of,
                      std::map<Slot, std::vector<Sequence>> filter_state = {}) {
  LedgerEntry entry;
  entry.sequence = ledger.last() + 1;
  entry.received = of.received;
  entry.line = parse_sensor_event(R"({"entity":"fan","sensor":"FAN3_TACH1","instance":3,"offset":3,"state":1})");
  if (!of.id.empty()) entry.line.id = of.id;
  entry.handled.when = of.received;
  entry.handled.reported = of.reported;
  for (const std::string& fault_dn : of.withdrawn) {
    if (const auto raised = faults.withdraw(fault_dn)) entry.handled.withdrawn.push_back({fault_dn, *raised});
  }
  if (of.reported) {
    entry.handled.record = make_record(of.record);
    entry.handled.outcome = faults.apply(entry.handled.record, of.received, entry.sequence);
  }
  const Sequence sequence = entry.sequence;
  LedgerBatch batch;
  batch.entries.push_back(std::move(entry));
  batch.filter_state = std::move(filter_state);
  ledger.write(batch);
  return sequence;
}

// The first column of every row.
inline std::vector<std::int64_t> numbers(const std::string& path, const std::string& sql) {
  const Database db(path, Access::kRead);
  Statement rows(db, sql);
  std::vector<std::int64_t> found;
  while (rows.step()) found.push_back(rows.integer(0));
  return found;
}

inline std::string text(const std::string& path, const std::string& sql) {
  const Database db(path, Access::kRead);
  Statement rows(db, sql);
  return rows.step() ? std::string(rows.text(0)) : "no row";
}

}  // namespace polaiga::engine::test
