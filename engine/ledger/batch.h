// What the recorder hands to the ledger.
#pragma once

#include <polaiga/records.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "alarms/chattering.h"
#include "filter/filter_state.h"
#include "model/change.h"
#include "model/operator_action.h"
#include "model/sensor_event.h"

namespace polaiga::engine {

// An input with its number and all that came of it.
struct RecordedInput {
  Sequence sequence = 0;
  Moment received = 0;   // what the machine's clock said
  Moment arrived = 0;    // the same, or an estimate while the clock was not set
  std::int64_t age = 0;  // seconds since the ledger began, without the clock's jumps; retention counts by it
  Moment at = 0;         // when it happened: the event's own time, unless `arrived` contradicts it
  SensorEvent event;     // of an action: without an entity
  std::optional<OperatorAction> action;      // nothing: the input is a sensor event
  bool reported = false;                     // whether the filter filled the record
  fe_fault_record record = {};               // zero where the filter wrote nothing
  Outcome outcome = Outcome::kAlreadyClear;  // of a record that is reported
  std::vector<Change> changes;               // in their order
};

// What is written in one transaction, or not at all.
struct Batch {
  std::vector<RecordedInput> inputs;
  std::map<Slot, std::vector<Sequence>> filter_state;  // of the slots that changed
  ChatteringWatch::Changes chattering;                 // faults that began to chatter, changed or settled
};

}  // namespace polaiga::engine
