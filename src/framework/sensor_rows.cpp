#include "framework/sensor_rows.h"

namespace polaiga {
namespace {

std::uint32_t code_of(const fe_sensor_map_row& row, Code code) {
  switch (code) {
    case Code::kCodeUntouched:
    case Code::kNoCode:
      return 0;
    case Code::kBase:
      return row.base_code;
    default:
      return row.threshold_codes[static_cast<int>(code) - static_cast<int>(Code::kLowerCritical)];
  }
}

}  // namespace

std::int32_t find_row(const fe_sensor_map_row* rows, std::int32_t count, std::string_view name) {
  std::int32_t row = count > 0 ? count - 1 : -1;
  while (row >= 0 && !holds_name(rows[row].sensor_name, name)) --row;
  return row;
}

void apply(const RowRule& rule, fe_fault_record& record, const fe_sensor_map_row& row, std::uint32_t previous_state) {
  if (rule.code != Code::kCodeUntouched) record.code = code_of(row, rule.code);
  if (rule.clear_code != Code::kCodeUntouched) record.clear_code = code_of(row, rule.clear_code);
  if (rule.disposition == Disposition::kPreviousState) {
    record.disposition = static_cast<std::uint8_t>(previous_state);
  } else if (rule.disposition != Disposition::kDispositionUntouched) {
    record.disposition = static_cast<std::uint8_t>(rule.disposition);
  }
  if (rule.clear_cause_id == kRowCause) {
    record.clear_cause_id = row.cause_id;
  } else if (rule.clear_cause_id != kCauseIdUntouched) {
    record.clear_cause_id = static_cast<std::uint32_t>(rule.clear_cause_id);
  }
}

void write_row_texts(fe_fault_record& record, const fe_sensor_map_row& row, std::string_view words) {
  write_text(record.name, field_text(row.fault_name));
  TextWriter(record.descr)
      .add_format(field_text(row.descr_format), {.first = sensor_name(record.event), .further = words});
  write_text(record.cause, field_text(row.cause));
  write_code_texts(record);
}

}  // namespace polaiga
