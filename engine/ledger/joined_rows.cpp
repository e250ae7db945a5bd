#include "ledger/joined_rows.h"

#include <cstring>
#include <type_traits>

#include "base/printable.h"
#include "model/fault.h"

namespace polaiga::engine {
namespace {

void fill_created(const EventRow& row, fe_fault_record& record) {
  std::string text = row.created.value_or("");
  if (row.zone) {
    const Moment local = Moment{row.created_time.value_or(0)} + *row.zone;
    if (local < 0 || local > kLastMoment) {
      throw LedgerError("event " + std::to_string(row.seq) + ": zone is out of range: " + std::to_string(*row.zone));
    }
    text = format_moment(local);
    text.pop_back();  // the Z
  }
  if (text.size() >= sizeof record.created || text.find('\0') != std::string::npos) {
    throw LedgerError("event " + std::to_string(row.seq) + ": created is longer than its field: " + in_quotes(text));
  }
  std::memcpy(record.created, text.data(), text.size());
}

}  // namespace

RecordRow::RecordRow(const Statement& row, int first)
    : event(read_row<EventRow>(row, first)), build(read_row<BuildRow>(row, first + kWidth<EventRow>)) {
  constexpr int kSubject = kWidth<EventRow> + kWidth<BuildRow>;
  constexpr int kForm = kSubject + kWidth<SubjectRow>;
  constexpr int kAction = kForm + kWidth<FormRow>;
  if (!row.is_null(first + kSubject)) subject = read_row<SubjectRow>(row, first + kSubject);
  if (!row.is_null(first + kForm)) form = read_row<FormRow>(row, first + kForm);
  if (!row.is_null(first + kAction)) action = read_row<ActionRow>(row, first + kAction);
  if (event.subject ? !subject : !action) {
    throw LedgerError("what event " + std::to_string(event.seq) + " says is gone");
  }
}

std::string record_columns() { return columns_sql<EventRow, BuildRow, SubjectRow, FormRow, ActionRow>(); }

std::string record_joins() {
  return " LEFT JOIN subject ON subject.seq = event.subject LEFT JOIN action ON action.seq = event.seq JOIN setting ON "
         "setting.id = event.setting "
         "JOIN build ON build.id = setting.build LEFT JOIN form ON form.seq = event.form";
}

StoredAction stored_action(const ActionRow& row) {
  return {.sequence = row.seq,
          .kind = row.kind,
          .person = row.person,
          .on_behalf_of = row.on_behalf_of,
          .comment = row.comment,
          .dn = row.dn,
          .until = row.until};
}

StoredEvent stored_event(const RecordRow& row) {
  return {.sequence = row.event.seq,
          .received = row.event.received,
          .at = row.event.moment(),
          .event = row.subject ? sensor_event(row.event, *row.subject) : SensorEvent{},
          .build = {row.build.build_id, row.build.version}};
}

StoredRecord stored_record(const RecordRow& row) {
  if (!row.form || !row.event.outcome || !row.subject) {
    throw LedgerError("the record of event " + std::to_string(row.event.seq) + " is gone");
  }
  StoredRecord stored{.event = stored_event(row), .record = row.form->record, .outcome = *row.event.outcome};
  fe_fault_record& record = stored.record;
  const fe_sensor_event changed = record.event;
  record.event = stored.event.event.event;
  record.event.entity_id = changed.entity_id;
  record.event.entity_subtype = changed.entity_subtype;
  record.event.entity_instance = changed.entity_instance;
  record.event.event_state = changed.event_state;
  record.created_time = row.event.created_time.value_or(0);
  fill_created(row.event, record);
  return stored;
}

Change stored_change(const ChangeRow& row, Moment at, const std::string& fault_dn) {
  return {.number = row.number,
          .sequence = row.seq,
          .kind = row.kind,
          .at = at,
          .fault_dn = fault_dn,
          .fault = row.fault,
          .alarm = row.alarm,
          .before = row.before,
          .after = row.after,
          .other = row.other,
          .shown = row.shown,
          .reporters = row.reporters,
          .raises = row.raises,
          .is_quiet = row.is_quiet,
          .is_folded = row.is_folded};
}

std::string gone(const char* what, std::int64_t number) {
  return std::string(what) + " " + std::to_string(number) + " is gone, though it is still referred to";
}

NamedFault::NamedFault(const Statement& statement, int first) : row(read_row<FaultRow>(statement, first)) {
  constexpr int kRaising = kWidth<FaultRow>;
  constexpr int kForm = kRaising + kWidth<EventRow>;
  constexpr int kEnding = kForm + kWidth<FormRow>;
  constexpr int kEndingEvent = kEnding + kWidth<ChangeRow>;
  raised_at = read_row<EventRow>(statement, first + kRaising).moment();
  const fe_fault_record record = read_row<FormRow>(statement, first + kForm).record;
  fault_dn = field_text(record.fault_dn);
  dn = field_text(record.dn);
  code = record.code;
  name = field_text(record.name);
  if (!row.ended) return;
  if (statement.is_null(first + kEnding)) throw LedgerError(gone("change", *row.ended));
  const auto end = read_row<ChangeRow>(statement, first + kEnding);
  if (statement.is_null(first + kEndingEvent)) throw LedgerError(gone("event", end.seq));
  ended_seq = end.seq;
  ending = end.kind;
  ended_at = read_row<EventRow>(statement, first + kEndingEvent).moment();
}

std::string NamedFault::columns() {
  return columns_sql<FaultRow>() + ", " + columns_sql_of<EventRow>("raising") + ", " + columns_sql<FormRow>() + ", " +
         columns_sql_of<ChangeRow>("ending") + ", " + columns_sql_of<EventRow>("ending_event");
}

std::string NamedFault::tables() {
  return "fault JOIN event AS raising ON raising.seq = fault.raised_seq JOIN form ON form.seq = raising.form "
         "LEFT JOIN change AS ending ON ending.number = fault.ended "
         "LEFT JOIN event AS ending_event ON ending_event.seq = ending.seq";
}

SensorEvent sensor_event(const EventRow& event, const SubjectRow& subject) {
  SensorEvent stored{.entity = subject.entity, .event = subject.event, .time = event.time, .id = event.id};
  for_each_field(kEventValues, [&](const auto& field) {
    constexpr auto kMember = std::remove_cvref_t<decltype(field)>::kMember;
    stored.event.*kMember = event.event.*kMember;
  });
  return stored;
}

}  // namespace polaiga::engine
