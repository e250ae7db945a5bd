#include "framework/dictionary_filter.h"

#include <polaiga/services.h>

#include "framework/clear_text.h"
#include "framework/text.h"

namespace polaiga {
namespace {

void describe(fe_fault_record& record, std::string_view name, const fe_sensor_map_row& row, bool threshold,
              std::string_view words) {
  TextWriter descr(record.descr);
  descr.add(name).add_literal(": ");
  if (threshold) {
    descr.add_format(field_text(row.descr_format), {.first = words});
  } else {
    descr.add(field_text(row.descr_format));  // copied as it stands, not used as a format
  }
}

}  // namespace

std::int32_t filter_event(const DictionaryFilter& filter, Memory& memory, RowStates states, fe_sensor_event* ev,
                          fe_fault_record** out) {
  fe_fault_record* const opened = open_record(ev, out);
  if (opened == nullptr) return kNoFault;
  fe_fault_record& record = *opened;
  const std::uint8_t oid_len = write_oid_arcs(record, filter.fault_class);

  const std::string_view name = sensor_name(*ev);
  const std::int32_t index = find_row(filter.rows, *filter.row_count, name);
  if (index < 0) return kNoFault;
  const fe_sensor_map_row& row = filter.rows[index];
  record.event.entity_id = row.entity_id;
  record.event.entity_instance = row.row_number;
  record.event.entity_subtype = row.*filter.subtype;

  const bool threshold = record.event.reading_type == FE_READING_THRESHOLD;
  Situation now{
      .offset = ev->event_offset, .state = ev->event_state, .sensors = filter.group_of(name.data()), .memory = memory};
  const RowRule& rule = decide_any(threshold ? filter.thresholds : std::span<const RowRule>(kDiscreteRules), now);
  apply(rule, record, row, states.recall(index));
  memory = static_cast<Memory>((memory | rule.sets) & ~unsigned{rule.clears});
  if (rule.deasserts) ev->event_state = FE_STATE_DEASSERTED;  // writes to the caller's event: intended

  write_names(record, field_text(row.dn), field_text(row.rn));
  write_code_texts(record);
  record.cause_id = row.cause_id;
  record.event.event_state = now.state = ev->event_state;
  states.update(index, now.state);
  write_text(record.clear_cause, text_or_empty(get_probable_cause_string(record.clear_cause_id)));
  write_text(record.name, text_or_empty(get_fault_code_string(record.code)));
  write_text(record.cause, text_or_empty(get_probable_cause_string(record.cause_id)));

  const WordRule* const word_rule = decide(filter.words, now);
  describe(record, name, row, threshold, word_rule != nullptr ? word_rule->words : rule.words);
  if (now.state == FE_STATE_DEASSERTED) {
    const Keep keep = (now.sensors & filter.named_clears) != 0 ? Keep::kNameOnly : Keep::kNameAndText;
    if (!clear_by_tokens(record.descr, keep)) return kNoFault;
  }
  write_key(record);
  record.oid_len = oid_len;
  stamp_time(record);
  return kFilled;
}

}  // namespace polaiga
