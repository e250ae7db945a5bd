#include "framework/host_row_filter.h"

#include "framework/clear_text.h"

namespace polaiga {

std::int32_t filter_event(const HostRowFilter& filter, RowStates states, const fe_sensor_event* ev,
                          fe_fault_record** out) {
  const std::int32_t count = *filter.row_count;
  if (count < 1) return kNoFault;
  fe_fault_record* const opened = open_record(ev, out);
  if (opened == nullptr) return kNoFault;
  fe_fault_record& record = *opened;
  write_oid(record, filter.fault_class);

  const std::string_view name = sensor_name(*ev);
  const std::int32_t index = find_row(filter.rows, count, name);
  if (index < 0 && filter.unknown == nullptr) return kNoFault;
  const fe_sensor_map_row& row = index < 0 ? *filter.unknown : filter.rows[index];
  write_names(record, field_text(row.dn), field_text(row.rn));
  record.event.entity_id = row.entity_id;
  record.event.entity_instance = row.row_number;
  record.event.entity_subtype = row.subtype;
  const ZoneName zone = stamp_time(record);

  const RowRule& rule = decide_any(
      filter.rules, {.offset = ev->event_offset, .state = ev->event_state, .sensors = filter.group_of(name.data())});
  apply(rule, record, row, states.recall(index));
  if (rule.deasserts) record.event.event_state = FE_STATE_DEASSERTED;
  // When the rule has no words, the name of the time zone is inserted instead: intended.
  write_row_texts(record, row, !rule.words.empty() ? rule.words : field_text(zone.text));
  write_key(record);
  states.update(index, record.event.event_state);
  if (record.event.event_state != FE_STATE_DEASSERTED) return kFilled;
  return clear_at_last_colon(record.descr) ? kFilled : kNoFault;
}

}  // namespace polaiga
