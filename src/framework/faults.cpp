#include "framework/faults.h"

namespace polaiga {

void apply(const FaultRule& rule, fe_fault_record& record, const Insert& insert) {
  apply_fault(rule, record);
  apply_description(rule, record, insert);
}

void apply_fault(const FaultRule& rule, fe_fault_record& record) {
  record.code = rule.fault->code;
  write_text(record.name, rule.fault->name);
  if (rule.disposition != Disposition::kDispositionUntouched)
    record.disposition = static_cast<std::uint8_t>(rule.disposition);
  record.clear_code = rule.clear_code;
  if (rule.clear_cause.writes_id) record.clear_cause_id = rule.clear_cause.id;
  if (rule.clear_cause.text.data() != nullptr) write_text(record.clear_cause, rule.clear_cause.text);
}

void apply_description(const FaultRule& rule, fe_fault_record& record, const Insert& insert) {
  if (rule.descr.has_text()) TextWriter(record.descr).add(rule.descr, insert);
  record.cause_id = rule.fault->cause.id;
  write_text(record.cause, rule.fault->cause.text);
}

std::int32_t report(const FaultRule& rule, fe_fault_record& record, const Insert& insert) {
  apply(rule, record, insert);
  write_code_texts(record);
  return kFilled;
}

}  // namespace polaiga
