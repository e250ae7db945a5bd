#include "report/steps.h"

#include "report/shown.h"

namespace polaiga::engine {

const StoredFault* superseded_by(const StoredAlarm& alarm, const StoredFault& step) {
  if (!step.ended || step.ending != ChangeKind::kSuperseded) return nullptr;
  // An alarm has one active fault. So its successor is the fault that is active
  // after the same input, whether this input raised it or another one before.
  for (const StoredFault& other : alarm.steps) {
    const bool is_active = other.raised <= *step.ended && (!other.ended || *other.ended > *step.ended);
    if (other.number != step.number && is_active) return &other;
  }
  return nullptr;
}

std::vector<const StoredFault*> superseded(const StoredAlarm& alarm, const StoredFault& step) {
  std::vector<const StoredFault*> others;
  for (const StoredFault& other : alarm.steps) {
    const StoredFault* const next = superseded_by(alarm, other);
    if (next != nullptr && next->number == step.number) others.push_back(&other);
  }
  return others;
}

std::string ending_text(const StoredAlarm& alarm, const StoredFault& step) {
  if (!step.ended) return "";
  std::string text(change_word(step.ending));
  if (const StoredFault* const next = superseded_by(alarm, step)) text.append(" by ").append(code_text(next->code));
  return text;
}

}  // namespace polaiga::engine
