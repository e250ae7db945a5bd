// Events and records as rows of the ledger.
#pragma once

#include <polaiga/records.h>

#include <optional>
#include <string>

#include "alarms/active_faults.h"
#include "filter/filter_state.h"
#include "ledger/sqlite.h"
#include "model/sensor_event.h"

namespace polaiga::engine {

struct StoredEvent {
  Sequence sequence = 0;
  Moment received = 0;
  SensorEvent line;
};

struct StoredRecord {
  StoredEvent event;
  fe_fault_record record = {};
  Outcome outcome;
  std::string severity;
};

// What to select, from `event`, and from `event JOIN record USING (seq)`.
inline constexpr const char* kEventColumns =
    "event.seq, event.received, event.time, event.id, event.entity, event.sensor, event.event_offset, "
    "event.event_state, event.entity_instance, event.group_instance, event.entity_id, event.entity_subtype, "
    "event.reading_type";
inline constexpr int kEventWidth = 13;
inline constexpr const char* kRecordColumns =
    "record.change, record.superseded, record.severity, record.entity_id, record.entity_subtype, "
    "record.entity_instance, record.event_state, record.fault_key, record.dn, record.fault_dn, record.rn, "
    "record.code_text, record.oid, record.oid_len, record.descr, record.created, record.created_time, "
    "record.disposition, record.cause_id, record.clear_cause_id, record.cause, record.clear_cause, record.code, "
    "record.clear_code, record.name";
inline constexpr int kRecordWidth = 25;

// From the columns above, of which the first is `column`. Throw LedgerError for a
// row that no engine writes.
StoredEvent read_event(const Statement& row, int column = 0);
StoredRecord read_record(const Statement& row, int column = 0);  // the event's columns, then the record's

}  // namespace polaiga::engine
