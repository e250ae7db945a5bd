#include "framework/faults.h"

namespace polaiga {
namespace {

constexpr Cause kNoCause{0, ""};
constexpr Fault kNothing{
    .code = 0, .name = {}, .cause = kNoCause};  // stands for what is cleared when a rule clears nothing

}  // namespace

void apply(const FaultRule& rule, fe_fault_record& record, const Insert& insert) {
  apply_fault(rule, record);
  apply_description(rule, record, insert);
}

void apply_fault(const FaultRule& rule, fe_fault_record& record) {
  record.code = rule.fault->code;
  write_text(record.name, rule.fault->name);
  if (rule.disposition != Disposition::kDispositionUntouched)
    record.disposition = static_cast<std::uint8_t>(rule.disposition);
  const Fault& cleared = rule.cleared != nullptr ? *rule.cleared : kNothing;
  record.clear_code = cleared.code;
  if (rule.clear_cause != kCauseUntouched) record.clear_cause_id = cleared.cause.id;
  if (rule.clear_cause == kNumberAndText) write_text(record.clear_cause, cleared.cause.text);
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
