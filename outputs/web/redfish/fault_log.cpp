#include "redfish/fault_log.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "alarms/measures.h"
#include "model/record_text.h"
#include "redfish/errors.h"
#include "redfish/messages.h"
#include "report/json_forms.h"

namespace polaiga::web {

using engine::ChangeNumber;
using engine::JsonArray;
using engine::JsonObject;

namespace {

// What the record of an active alarm says; "" for others.
std::string description_of(const engine::Overview& now, ChangeNumber alarm) {
  const auto row = std::ranges::find(now.active, alarm, [](const engine::ActiveRow& one) { return one.fault.alarm; });
  return row == now.active.end() ? "" : std::string(engine::field_text(row->shown.record.descr));
}

}  // namespace

std::shared_ptr<const View> view_of(const Site& site) {
  auto view = site.live.view();
  if (!view) {
    throw Refusal(Reason::kUnavailable, {"5"}, {}, site.live.problem().value_or("The ledger was not read yet") + ".");
  }
  return view;
}

JsonObject log_entry(const engine::StoredAlarm& alarm, std::string_view ledger_id, const engine::AlarmProfile& profile,
                     std::string_view description) {
  const std::string id = std::to_string(alarm.number);
  JsonObject body = resource(entry_uri(id), schemas::kLogEntry, id, "Alarm " + id);
  if (!description.empty()) body.add("Description", description);
  body.add("EntryType", "Event")
      .add("Severity", health_of(alarm.severity))
      .add("Created", engine::format_moment(alarm.created))
      .add("Modified", engine::format_moment(alarm.changed))
      .add("EventTimestamp", engine::format_moment(alarm.created))
      .add("EventId", engine::alarm_id(ledger_id, alarm.number))
      .add("Resolved", alarm.ended.has_value());
  if (!alarm.steps.empty()) {
    const engine::StoredFault& last = alarm.steps.back();
    const FilledMessage message = fault_message(last.code, alarm.dn, last.name, alarm.severity);
    JsonArray args;
    for (const std::string& arg : message.args) args.add(arg);
    body.add("MessageId", message.id)
        .add("Message", message.text)
        .add("MessageArgs", args)
        .add("Resolution", resolution_of(profile.find(last.code, last.dn)));
  }
  body.add("Links", JsonObject().add("OriginOfCondition", link_to(chassis_uri(alarm.dn))))
      .add("Oem",
           oem("LogEntry.v1_0_0.Alarm", JsonObject().add("Alarm", engine::alarm_form(alarm, ledger_id, profile))));
  return body;
}

JsonObject FaultLog::service() const {
  JsonObject body = resource(kLogUri, schemas::kLogService, "FaultLog", "Faults");
  body.add("Description",
           "Every alarm that the engine's ledger keeps, the latest first. Nobody may clear it; entries leave it when "
           "they are as old as the site has set.")
      .add("ServiceEnabled", true)
      .add("LogEntryType", "Event")
      .add("OverWritePolicy", "WrapsWhenFull")
      .add("Persistency", true)
      .add("Status", JsonObject().add("State", "Enabled").add("Health", site_.live.problem() ? "Critical" : "OK"))
      .add("Entries", link_to(std::string(kLogUri) + "/Entries"));
  return body;
}

std::shared_ptr<const LogIndex> FaultLog::make(const View& view) const {
  auto fresh = std::make_shared<LogIndex>();
  fresh->ledger_id = view.of.ledger_id;
  fresh->version = view.version;
  add_with_containers(fresh->objects, kSystemDn);
  site_.readers.ask([&](engine::LedgerReader& reader) {
    reader.alarm_facts("", [&](const engine::AlarmFact& fact) {
      fresh->numbers.push_back(fact.number);
      add_with_containers(fresh->objects, fact.dn);
    });
    return true;
  });
  std::ranges::sort(fresh->numbers);
  for (const engine::StoredMaintenance& one : view.of.maintenance) {
    add_with_containers(fresh->objects, one.maintenance.dn);
  }
  return fresh;
}

// Null: another one must be made.
std::shared_ptr<const LogIndex> FaultLog::usable(const View& view) {
  const std::lock_guard lock(mutex_);
  if (!index_ || index_->ledger_id != view.of.ledger_id) return nullptr;
  const bool is_enough = index_->version == view.version || is_being_made_ || std::chrono::steady_clock::now() < next_;
  return is_enough ? index_ : nullptr;
}

std::shared_ptr<const LogIndex> FaultLog::index() {
  if (auto found = usable(*view_of(site_))) return found;
  const std::lock_guard one_at_a_time(making_);
  const auto view = view_of(site_);  // while we waited, another may have made what we need
  if (auto found = usable(*view)) return found;
  const auto set_being_made = [this](bool is_being_made) {
    const std::lock_guard lock(mutex_);
    is_being_made_ = is_being_made;
  };
  set_being_made(true);
  const auto begin = std::chrono::steady_clock::now();
  std::shared_ptr<const LogIndex> fresh;
  try {
    fresh = make(*view);
  } catch (...) {
    set_being_made(false);
    throw;
  }
  constexpr int kShare = 10;
  const auto end = std::chrono::steady_clock::now();
  const std::lock_guard lock(mutex_);
  is_being_made_ = false;
  index_ = fresh;
  next_ = end + (end - begin) * kShare;
  return fresh;
}

JsonObject FaultLog::entries(const MemberRange& range) {
  const auto view = view_of(site_);
  const auto now = index();
  const std::size_t count = now->numbers.size();
  JsonArray members;
  if (range.skip < count && range.top > 0) {
    const ChangeNumber latest = now->numbers[count - 1 - range.skip];
    const auto wanted = static_cast<std::int64_t>(std::min(range.top, count - range.skip));
    site_.readers.ask([&](engine::LedgerReader& reader) {
      const auto alarms = reader.history_before(latest + 1, wanted);
      const std::string ledger_id = reader.ledger_id();
      for (std::size_t i = alarms.size(); i-- > 0;) {
        members.add(log_entry(alarms[i], ledger_id, reader.profile(), description_of(view->of, alarms[i].number)));
      }
      return true;
    });
  }
  return collection(std::string(kLogUri) + "/Entries", schemas::kLogEntries, "Entries of the fault log", range, count,
                    members);
}

std::optional<JsonObject> FaultLog::entry(std::string_view id) {
  ChangeNumber number = 0;
  const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), number);
  if (error != std::errc() || std::to_string(number) != id || number <= 0) return std::nullopt;
  const auto view = view_of(site_);
  return site_.readers.ask([&](engine::LedgerReader& reader) -> std::optional<JsonObject> {
    const auto alarm = reader.alarm(number);
    // A number may also be that of a later fault of an alarm, which is an entry under its own number alone.
    if (!alarm || alarm->number != number) return std::nullopt;
    return log_entry(*alarm, reader.ledger_id(), reader.profile(), description_of(view->of, number));
  });
}

}  // namespace polaiga::web
