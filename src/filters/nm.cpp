// The node manager. Every fault is a row of the host's table ent_nm_map. The event's
// offset alone decides which row it is.
#include <polaiga/filters.h>
#include <polaiga/tables.h>

#include "framework/clear_text.h"
#include "framework/faults.h"
#include "framework/sensor_rows.h"

namespace polaiga {
namespace {

constexpr FaultClass kClass{1, 39, 1, 1, 2};

constinit std::uint32_t nm_last_state[FE_HOST_TABLE_ROWS] = {};

// Returns the index of the last row with that offset, or -1 when there is none.
std::int32_t find_offset(std::int32_t count, std::int32_t offset) {
  std::int32_t row = count - 1;
  while (row >= 0 && ent_nm_map[row].event_offset != static_cast<std::uint32_t>(offset)) --row;
  return row;
}

void write_codes(fe_fault_record& record, const fe_nm_map_row& row, std::uint32_t previous_state) {
  record.code = row.code;
  if (record.event.event_state != FE_STATE_DEASSERTED) {
    record.disposition = FE_DISPOSITION_RAISE;
    record.clear_code = 0;
    record.clear_cause_id = 0;
  } else {
    record.disposition = static_cast<std::uint8_t>(previous_state);
    record.clear_code = row.code;
    record.clear_cause_id = row.cause_id;
  }
}

}  // namespace
}  // namespace polaiga

std::int32_t process_nm_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  const std::int32_t count = ent_nm_map_sz;
  if (count < 1) return kNoFault;
  fe_fault_record* const record = open_record(ev, out);
  if (record == nullptr) return kNoFault;
  write_oid_arcs(*record, kClass);  // the record's number of arcs is not written: intended

  const std::int32_t index = find_offset(count, ev->event_offset);
  if (index < 0) return kNoFault;
  const fe_nm_map_row& row = ent_nm_map[index];
  write_names(*record, field_text(row.dn), field_text(row.rn));
  record->event.entity_id = row.entity_id;
  record->event.entity_instance = row.instance;
  record->event.entity_subtype = row.subtype;
  stamp_event(*record, *ev);

  RowStates states(nm_last_state);
  write_codes(*record, row, states.recall(index));
  write_text(record->name, field_text(row.fault_name));
  write_text(record->descr, field_text(row.descr));
  write_text(record->cause, field_text(row.cause));
  write_code_texts(*record);
  write_key(*record);
  states.update(index, ev->event_state);
  if (ev->event_state != FE_STATE_DEASSERTED) return kFilled;
  return clear_at_first_colon(record->descr) ? kFilled : kNoFault;
}
