#include "framework/faults.h"

namespace polaiga {

void apply(const FaultRule& rule, fe_fault_record& record, const Insert& insert) {
  const Fault& fault = *rule.fault;
  if (rule.descr != nullptr) TextWriter(record.descr).add_format(rule.descr, insert);
  record.code = fault.code;
  write_text(record.name, fault.name);
  record.cause_id = fault.cause.id;
  write_text(record.cause, fault.cause.text);
  if (rule.disposition != Disposition::kDispositionUntouched)
    record.disposition = static_cast<std::uint8_t>(rule.disposition);
  record.clear_code = rule.clear_code;
  if (rule.clear_cause.writes_id) record.clear_cause_id = rule.clear_cause.id;
  if (rule.clear_cause.text != nullptr) write_text(record.clear_cause, rule.clear_cause.text);
}

std::int32_t report(const FaultRule& rule, fe_fault_record& record, const Insert& insert) {
  apply(rule, record, insert);
  write_code_texts(record);
  return kFilled;
}

}  // namespace polaiga
