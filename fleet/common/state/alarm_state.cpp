#include <algorithm>
#include <charconv>

#include "state/controller_state.h"

namespace polaiga::fleet {
namespace {

using engine::ChangeKind;
using engine::OperatorState;
using engine::Severity;

// Whether the change ends its alarm. Of superseded, the alarm goes on with the raise that follows.
bool is_end(const ChangeMessage& change) {
  switch (change.kind) {
    case ChangeKind::kCleared:
    case ChangeKind::kWithdrawn:
    case ChangeKind::kMerged:
      return true;
    case ChangeKind::kSettled:
      return change.after == Severity::kCleared;
    default:
      return false;
  }
}

// How an alarm ends with a change. One of a fault that has settled ended before, and how is not told.
std::string_view ending_of(const ChangeMessage& change) {
  return change_word(change.kind == ChangeKind::kSettled ? ChangeKind::kCleared : change.kind);
}

// After these, what happened to the alarm while nothing was told of it shows only in the list.
bool ends_silence(ChangeKind kind) {
  return kind == ChangeKind::kUnshelved || kind == ChangeKind::kBackInService || kind == ChangeKind::kSettled;
}

// Whether the record of the change's event says what is wrong now. Those of the last two come with a raise or a
// refresh.
bool tells_fault(ChangeKind kind) {
  return kind == ChangeKind::kRaised || kind == ChangeKind::kRefreshed || kind == ChangeKind::kChattering ||
         kind == ChangeKind::kUnacknowledged;
}

// What the DN of a fault says of it: that of the object, "/fault-F" and the code.
FaultWords words_of(const std::string& fault_dn) {
  constexpr std::string_view kFault = "/fault-F";
  FaultWords words{.fault_dn = fault_dn,
                   .dn = fault_dn,
                   .code = 0,
                   .name = {},
                   .sensor = {},
                   .description = {},
                   .cause = {},
                   .oid = {}};
  const std::size_t end = fault_dn.rfind(kFault);
  if (end == std::string::npos) return words;
  words.dn = fault_dn.substr(0, end);
  const char* const code = fault_dn.data() + end + kFault.size();
  std::from_chars(code, fault_dn.data() + fault_dn.size(), words.code);
  words.name = engine::fault_name(words.code);
  return words;
}

// From now on the alarm has the fault of the change, of which nothing else is known yet.
void begin_fault(const ChangeMessage& change, AlarmState& alarm) {
  alarm.fault = change.fault;
  alarm.words = words_of(change.fault_dn);
  alarm.since = change.at;
  alarm.updated = change.at;
  alarm.count = 1;
  alarm.raises = 0;
}

void end(std::string_view how, Moment at, AlarmState& alarm) {
  alarm.end = how;
  alarm.cleared = at;
  alarm.raises = 0;
  alarm.is_touched = true;
}

void begin_again(AlarmState& alarm) {
  alarm.end.clear();
  alarm.cleared.reset();
}

void set_severity(Severity severity, AlarmState& alarm) {
  if (severity == Severity::kCleared) return;
  alarm.severity = severity;
  alarm.worst = std::max(alarm.worst, severity);
}

void take_operators_part(const ChangeMessage& change, AlarmState& alarm) {
  switch (change.kind) {
    case ChangeKind::kAcknowledged:
      alarm.is_acknowledged = true;
      alarm.acknowledged_by = change.person;
      break;
    case ChangeKind::kUnacknowledged:
      alarm.is_acknowledged = alarm.is_closed = false;
      alarm.acknowledged_by.clear();
      break;
    case ChangeKind::kClosed:
      alarm.is_closed = true;
      break;
    case ChangeKind::kShelved:
      alarm.is_shelved = true;
      break;
    case ChangeKind::kUnshelved:
      alarm.is_shelved = false;
      alarm.was_unshelved = true;
      break;
    case ChangeKind::kOutOfService:
      alarm.is_out_of_service = true;
      break;
    case ChangeKind::kBackInService:
      alarm.is_out_of_service = false;
      break;
    default:
      break;
  }
}

void take_faults_part(const ChangeMessage& change, AlarmState& alarm) {
  alarm.reporters = change.reporters;
  switch (change.kind) {
    case ChangeKind::kRefreshed:
      ++alarm.count;
      alarm.updated = change.at;
      break;
    case ChangeKind::kChattering:
      alarm.raises = change.raises;
      break;
    case ChangeKind::kSettled:
      alarm.raises = 0;
      break;
    default:
      break;
  }
  if (change.record && tells_fault(change.kind)) show(*change.record, alarm);
}

// The state that a list names hides those behind it: a shelved alarm may be acknowledged, too.
void take_operator_state(OperatorState state, AlarmState& alarm) {
  alarm.is_shelved = state == OperatorState::kShelved;
  if (state == OperatorState::kShelved) return;
  alarm.is_closed = state == OperatorState::kClosed;
  if (state == OperatorState::kClosed) return;
  alarm.is_acknowledged = state == OperatorState::kAcknowledged;
  if (state == OperatorState::kAcknowledged) return;
  alarm.acknowledged_by.clear();
  alarm.was_unshelved = state == OperatorState::kUnshelved;
}

// What an alarm that has taken later changes can still learn of a list: what stays as it is as long as the alarm, or
// its fault, lasts.
void take_what_lasts(const ListedAlarm& listed, AlarmState& alarm) {
  alarm.created = listed.created;
  alarm.is_touched = true;
  if (listed.fault != alarm.fault) return;
  alarm.since = listed.since;
  alarm.count = std::max(alarm.count, listed.count);
  if (alarm.words.sensor.empty() && alarm.words.description.empty()) alarm.words = listed.words;
}

}  // namespace

OperatorState AlarmState::operator_state() const {
  if (is_shelved) return OperatorState::kShelved;
  if (is_closed) return OperatorState::kClosed;
  if (is_acknowledged) return OperatorState::kAcknowledged;
  return was_unshelved ? OperatorState::kUnshelved : OperatorState::kNone;
}

std::vector<ChangeNumber> alarms_of(const ChangeMessage& change) {
  std::vector<ChangeNumber> numbers;
  if (change.alarm != 0) numbers.push_back(change.alarm);
  if (change.in_place_of != 0 && change.in_place_of != change.alarm) numbers.push_back(change.in_place_of);
  return numbers;
}

bool apply(const ChangeMessage& change, AlarmState& alarm) {
  const bool is_own = alarm.number == change.alarm;
  const bool ends = !is_own || is_end(change);
  if (change.number <= alarm.last_change) {
    if (ends && alarm.end == kMissing) end(ending_of(change), change.at, alarm);
    return false;
  }
  const bool is_unknown = alarm.last_change == 0;
  alarm.last_change = change.number;
  alarm.is_touched = true;
  if (is_unknown) {
    alarm.created = change.at;
    begin_fault(change, alarm);
    set_severity(change.before, alarm);
  }
  const bool may_end = alarm.is_active() || alarm.end == kMissing;
  if (!is_own) {
    if (may_end) end(ending_of(change), change.at, alarm);
    return false;
  }
  const bool is_other_fault = !is_unknown && change.fault != 0 && change.fault != alarm.fault;
  // The fault of a merged change is the one that goes on with the other alarm.
  if (is_other_fault && change.kind != ChangeKind::kMerged) begin_fault(change, alarm);
  if (ends) {
    if (may_end) end(ending_of(change), change.at, alarm);
    return false;
  }
  begin_again(alarm);
  set_severity(change.after, alarm);
  take_faults_part(change, alarm);
  take_operators_part(change, alarm);
  if (change.kind == ChangeKind::kRaised) return is_unknown && change.number != alarm.number;
  return is_unknown || is_other_fault || ends_silence(change.kind);
}

void apply(const ListedAlarm& listed, ChangeNumber number, AlarmState& alarm) {
  if (number < alarm.last_change) {
    take_what_lasts(listed, alarm);
    return;
  }
  begin_again(alarm);
  alarm.last_change = number;
  alarm.fault = listed.fault;
  alarm.words = listed.words;
  set_severity(listed.severity, alarm);
  alarm.created = listed.created;
  alarm.since = listed.since;
  alarm.updated = listed.updated;
  alarm.count = listed.count;
  alarm.reporters = listed.reporters;
  alarm.raises = listed.raises;
  alarm.is_out_of_service = listed.is_out_of_service;
  take_operator_state(listed.operator_state, alarm);
  alarm.is_touched = true;
}

void show(const FaultWords& record, AlarmState& alarm) {
  if (record.fault_dn != alarm.words.fault_dn) return;
  alarm.words = record;
  alarm.is_touched = true;
}

void miss(ChangeNumber number, Moment at, AlarmState& alarm) {
  if (!alarm.is_active() || number < alarm.last_change) return;
  alarm.last_change = number;
  end(kMissing, at, alarm);
}

void leave(Moment at, AlarmState& alarm) {
  if (alarm.is_active()) end(kLedgerGone, at, alarm);
}

}  // namespace polaiga::fleet
