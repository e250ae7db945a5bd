#include "redfish/events.h"

#include <algorithm>
#include <ctime>

#include "model/dictionary.h"
#include "model/moment.h"
#include "redfish/messages.h"
#include "redfish/objects.h"
#include "redfish/resource.h"
#include "report/json_text.h"
#include "report/shown.h"

namespace polaiga::web {

using engine::ChangeKind;
using nlohmann::ordered_json;

namespace {

std::string text_of(const ordered_json& object, const char* name) {
  const auto found = object.find(name);
  return found == object.end() || !found->is_string() ? std::string() : found->get<std::string>();
}

// The key of the general message of a change; "" for those that have messages by their code.
std::string_view key_of(ChangeKind kind) {
  switch (kind) {
    case ChangeKind::kRaised:
    case ChangeKind::kCleared:
    case ChangeKind::kSuperseded:
    case ChangeKind::kWithdrawn:
      return "";
    case ChangeKind::kRefreshed:
      return "FaultRefreshed";
    case ChangeKind::kPartlyCleared:
      return "FaultPartlyCleared";
    case ChangeKind::kMerged:
      return "AlarmMerged";
    case ChangeKind::kAcknowledged:
      return "AlarmAcknowledged";
    case ChangeKind::kUnacknowledged:
      return "AlarmUnacknowledged";
    case ChangeKind::kClosed:
      return "AlarmClosed";
    case ChangeKind::kCommented:
      return "AlarmCommented";
    case ChangeKind::kShelved:
      return "AlarmShelved";
    case ChangeKind::kUnshelved:
      return "AlarmUnshelved";
    case ChangeKind::kOutOfService:
      return "ObjectOutOfService";
    case ChangeKind::kBackInService:
      return "ObjectBackInService";
    case ChangeKind::kChattering:
      return "FaultChattering";
    case ChangeKind::kSettled:
      return "FaultSettled";
  }
  return "";
}

// Who acted; the engine, when nobody did.
std::string person_of(const ordered_json& change) {
  const auto action = change.find("action");
  std::string person = action == change.end() ? std::string() : text_of(*action, "person");
  return person.empty() ? "the engine" : person;
}

FilledMessage message_of(const ordered_json& change, ChangeKind kind, const FaultOf& fault) {
  const engine::Severity after =
      engine::find_severity(text_of(change, "after")).value_or(engine::Severity::kIndeterminate);
  const std::string code = fault.code ? engine::code_text(*fault.code) : std::string("of another level");
  if (kind == ChangeKind::kRaised) {
    const auto record = change.find("record");
    const std::string name = record == change.end() ? std::string() : text_of(*record, "name");
    return fault.code ? fault_message(*fault.code, fault.dn, name, after)
                      : general_message("FaultRaised", {fault.dn, code, name});
  }
  const std::string_view key = key_of(kind);
  if (key.empty()) {
    const std::string how = text_of(change, "change");
    return fault.code ? fault_over_message(*fault.code, fault.dn, how)
                      : general_message("FaultOver", {fault.dn, code, how});
  }
  if (kind == ChangeKind::kOutOfService || kind == ChangeKind::kBackInService) {
    return general_message(key, {fault.dn, person_of(change)});
  }
  if (engine::is_of_operators(kind)) return general_message(key, {fault.dn, code, person_of(change)});
  FilledMessage message = general_message(key, {fault.dn, code});
  if (kind == ChangeKind::kRefreshed || kind == ChangeKind::kPartlyCleared) message.health = health_of(after);
  return message;
}

ordered_json link(const std::string& uri) { return {{"@odata.id", uri}}; }

ordered_json record_json(const std::string& id, std::string_view member, std::string_view at,
                         const FilledMessage& message) {
  return {{"EventType", "Alert"},        {"EventId", id},
          {"MemberId", member},          {"EventTimestamp", at},
          {"MessageId", message.id},     {"Message", message.text},
          {"MessageArgs", message.args}, {"MessageSeverity", message.health},
          {"Severity", message.health}};
}

EventRecord general_event(const std::string& id, std::string_view key, std::vector<std::string> args) {
  const FilledMessage message = general_message(key, std::move(args));
  return {.id = id,
          .message_id = message.id,
          .health = std::string(message.health),
          .json = record_json(id, id.substr(id.rfind('-') + 1), engine::format_moment(std::time(nullptr)), message)};
}

}  // namespace

std::optional<EventRecord> event_of(std::string_view change, const engine::AlarmProfile& profile) {
  ordered_json told = ordered_json::parse(change);
  if (told.value("quiet", false)) return std::nullopt;
  const auto kind = engine::find_change(text_of(told, "change"));
  if (!kind) return std::nullopt;
  const std::string fault_dn = text_of(told, "fault_dn");
  const FaultOf fault = fault_of(fault_dn.empty() ? text_of(told, "dn") : fault_dn);
  const std::string number = std::to_string(told.value("number", engine::ChangeNumber{0}));
  const std::string id = text_of(told, "ledger_id") + "-" + number;
  const FilledMessage message = message_of(told, *kind, fault);
  ordered_json record = record_json(id, number, text_of(told, "at"), message);
  record["OriginOfCondition"] = link(chassis_uri(fault.dn));
  const std::string alarm = text_of(told, "alarm");
  if (!alarm.empty()) {
    const std::string entry = alarm.substr(alarm.rfind('-') + 1);
    record["LogEntry"] = link(entry_uri(entry));
    record["EventGroupId"] = std::stoll(entry);
    record["Resolution"] = message.health == "OK" ? std::string_view("None.") : resolution_of(profile.find(fault_dn));
  }
  record["Oem"]["Polaiga"] = {{"@odata.type", "#PolaigaEvent.v1_0_0.Change"}, {"Change", std::move(told)}};
  return EventRecord{
      .id = id, .message_id = message.id, .health = std::string(message.health), .json = std::move(record)};
}

EventRecord lost_event(const EventCursor& through, const engine::Feed::Gap& gap) {
  return general_event(through.ledger_id + "-" + std::to_string(through.number), "ChangesLost",
                       {std::to_string(gap.first), std::to_string(gap.last)});
}

EventRecord replaced_event(const EventCursor& through) {
  return general_event(through.ledger_id + "-" + std::to_string(through.number), "LedgerReplaced", {});
}

std::string event_payload(const std::vector<EventRecord>& events, std::string_view context) {
  ordered_json list = ordered_json::array();
  for (const EventRecord& event : events) list.push_back(event.json);
  return engine::json_text({{"@odata.type", "#" + schemas::kEvent.type()},
                            {"Id", events.back().id},
                            {"Name", "Changes of alarms"},
                            {"Context", context},
                            {"Events@odata.count", events.size()},
                            {"Events", std::move(list)}});
}

EventsRead read_events(LiveLedger& live, const EventCursor& cursor, std::size_t most) {
  EventsRead read{.events = {}, .through = cursor};
  const auto view = live.view();
  if (!view) return read;
  const engine::Overview& now = view->of;
  if (now.ledger_id != cursor.ledger_id) {
    read.through = {now.ledger_id, now.number};
    if (cursor.ledger_id.empty()) return read;  // there was no ledger to follow before
    read.events.push_back(replaced_event(read.through));
    return read;
  }
  if (now.number == cursor.number) return read;
  const LiveChanges found = live.after(cursor.number, most);
  if (found.ledger_id != cursor.ledger_id) return read;  // the view of it comes soon
  if (found.gap) {
    // Of a ledger that was put back, the changes that are lost are later than all that it has.
    read.through.number = std::min(found.gap->last, now.number);
    read.events.push_back(lost_event(read.through, *found.gap));
    return read;
  }
  for (const LiveChange& change : found.changes) {
    if (auto event = event_of(*change.json, *now.profile)) read.events.push_back(std::move(*event));
  }
  read.through.number = found.through;
  return read;
}

void TestEvents::add(const EventRecord& event) {
  const std::lock_guard lock(mutex_);
  events_.push_back(event);
  if (events_.size() > kMost) events_.pop_front();
  ++last_;
}

std::uint64_t TestEvents::last() const {
  const std::lock_guard lock(mutex_);
  return last_;
}

std::vector<EventRecord> TestEvents::after(std::uint64_t& number) const {
  const std::lock_guard lock(mutex_);
  const auto fresh = static_cast<std::size_t>(last_ - number);
  const std::size_t skipped = events_.size() - std::min(events_.size(), fresh);
  number = last_;
  return {events_.begin() + static_cast<std::ptrdiff_t>(skipped), events_.end()};
}

}  // namespace polaiga::web
