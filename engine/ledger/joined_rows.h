// What rows that belong together say: an event with its record, and a fault with its raise and its end.
#pragma once

#include <optional>
#include <string>

#include "ledger/reader.h"
#include "ledger/stored.h"
#include "ledger/tables.h"

namespace polaiga::engine {

// What record_columns() selects of an event.
struct RecordRow {
  // Throws LedgerError when what the event refers to is gone.
  RecordRow(const Statement& row, int first);

  static constexpr int kColumns =
      kWidth<EventRow> + kWidth<BuildRow> + kWidth<SubjectRow> + kWidth<FormRow> + kWidth<ActionRow>;

  EventRow event;
  BuildRow build;
  std::optional<SubjectRow> subject;
  std::optional<FormRow> form;
  std::optional<ActionRow> action;
};

// The columns of a RecordRow, and the joins that they need after "FROM event".
std::string record_columns();
std::string record_joins();

// What the rows say, in the words of the model.
StoredEvent stored_event(const RecordRow& row);
// Throws LedgerError when the event has no record, or when the time in it is not one that the engine writes.
StoredRecord stored_record(const RecordRow& row);
StoredAction stored_action(const ActionRow& row);
Change stored_change(const ChangeRow& row, Moment at, const std::string& fault_dn);
SensorEvent sensor_event(const EventRow& event, const SubjectRow& subject);

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

// A complaint, for a LedgerError, that a row is missing though another row refers to it, as in
// "change 17 is gone, though it is still referred to".
std::string gone(const char* what, std::int64_t number);

}  // namespace polaiga::engine
