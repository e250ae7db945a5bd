#include "report/change_text.h"

#include "base/printable.h"
#include "model/moment.h"
#include "model/record_text.h"

namespace polaiga::engine {
namespace {

std::string number_text(std::string_view what, std::int64_t number) {
  return std::string(what) + " " + std::to_string(number);
}

std::string refreshed_text(const Change& change) {
  std::string text = "refreshed";
  if (change.before != change.after) text.append(", was ").append(severity_word(change.before));
  if (change.reporters > 1) text.append(", ").append(std::to_string(change.reporters)).append(" report it");
  return text;
}

std::string partly_cleared_text(const Change& change) {
  return number_text("partly cleared,", change.reporters) +
         (change.reporters == 1 ? " still reports it" : " still report it");
}

std::string merged_text(const Change& change) {
  return number_text("alarm", change.alarm) + number_text(" merged into alarm", change.other);
}

std::string raised_text(const Change& change) {
  return change.other == 0 ? "raised" : number_text("raised, related to alarm", change.other);
}

std::string code_of(const Change& change) { return printable(parts_of(change.fault_dn).code); }

// Of a change of another fault than the record's own.
std::string side_effect_text(const Change& change) {
  switch (change.kind) {
    case ChangeKind::kSuperseded:
      return "superseded " + code_of(change);
    case ChangeKind::kMerged:
      return merged_text(change);
    default:
      return code_of(change) + " " + change_text(change);
  }
}

}  // namespace

FaultDnParts parts_of(std::string_view fault_dn) {
  constexpr std::string_view kFault = "/fault-";
  const std::size_t end = fault_dn.rfind(kFault);
  if (end == std::string_view::npos) return {fault_dn, {}};
  return {fault_dn.substr(0, end), fault_dn.substr(end + kFault.size())};
}

std::string change_text(const Change& change) {
  switch (change.kind) {
    case ChangeKind::kRaised:
      if (change.alarm != change.number) return number_text("raised, alarm", change.alarm) + " goes on";
      return raised_text(change);
    case ChangeKind::kRefreshed:
      return refreshed_text(change);
    case ChangeKind::kPartlyCleared:
      return partly_cleared_text(change);
    case ChangeKind::kMerged:
      return merged_text(change);
    case ChangeKind::kOutOfService:
      return "out of service";
    case ChangeKind::kBackInService:
      return "back in service";
    case ChangeKind::kChattering:
      return number_text("chattering,", static_cast<std::int64_t>(change.raises)) + " raises";
    case ChangeKind::kSettled:
      return number_text("settled after", static_cast<std::int64_t>(change.raises)) + " raises";
    default:
      return std::string(change_word(change.kind));
  }
}

std::string change_text(const AlarmAction& action) { return change_text(Change{.kind = action.kind}); }

std::string person_text(const StoredAction* action) {
  if (action == nullptr) return "because the alarm got worse";
  if (action->person.empty()) return "because its time is over";
  std::string text = "by " + printable(action->person);
  if (action->on_behalf_of) text += " for " + printable(*action->on_behalf_of);
  if (action->until) text += " until " + format_moment(*action->until);
  if (action->comment) text += ": " + printable(*action->comment);
  return text;
}

std::string consequence_text(const RecordedInput& input) {
  std::string own;
  std::string others;
  for (const Change& change : input.changes) {
    const bool is_own = change.fault_dn == field_text(input.record.fault_dn) && change.kind != ChangeKind::kMerged &&
                        change.kind != ChangeKind::kWithdrawn;
    if (!is_own) {
      others += ", " + side_effect_text(change);
    } else if (change.kind == ChangeKind::kRaised) {
      own = raised_text(change);  // what it superseded tells that the alarm goes on
    } else {
      own = change_text(change);
    }
  }
  if (input.outcome == Outcome::kAlreadyClear) own = "already clear";
  if (input.outcome == Outcome::kNotTracked) own = "not tracked, because too many faults are active";
  return own + others;
}

}  // namespace polaiga::engine
