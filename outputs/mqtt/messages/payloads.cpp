#include "messages/payloads.h"

#include <algorithm>

#include "report/json_forms.h"

namespace polaiga::mqtt {
namespace {

using engine::ChangeNumber;
using engine::JsonArray;
using engine::JsonObject;

// How many bytes a part of the alarms has without them, at most.
constexpr std::size_t kPartBytes = 1024;

void add_origin(JsonObject& object, const Origin& origin) {
  object.add("site", origin.site).add("controller", origin.controller).add("version", POLAIGA_VERSION);
}

void add_told(JsonObject& object, const Origin& origin, const Told& told) {
  object.add("previous", told.previous);
  add_origin(object, origin);
  if (!told.replay.empty()) object.add("replay", told.replay);
}

JsonObject state(const Origin& origin, std::string_view word) {
  JsonObject object;
  object.add("state", word);
  add_origin(object, origin);
  return object;
}

}  // namespace

std::string change_payload(const Origin& origin, const engine::StoredChange& change, const Told& told) {
  JsonObject object = engine::stored_change_form(change, told.ledger_id);
  add_told(object, origin, told);
  return object.text();
}

std::string gap_payload(const Origin& origin, const engine::Feed::Gap& gap, const Told& told) {
  JsonObject range;
  range.add("first", gap.first).add("last", gap.last);
  JsonObject object;
  object.add("ledger_id", told.ledger_id).add("gap", range);
  add_told(object, origin, told);
  return object.text();
}

std::string replay_done_payload(const Origin& origin, ChangeNumber through, const Told& told) {
  JsonObject object;
  object.add("ledger_id", told.ledger_id).add("done", true).add("through", through);
  add_told(object, origin, told);
  return object.text();
}

std::string replay_refused_payload(const Origin& origin, std::string_view replay, std::string_view why) {
  JsonObject object;
  object.add("refused", why);
  add_origin(object, origin);
  if (!replay.empty()) object.add("replay", replay);
  return object.text();
}

std::string acted_payload(const Origin& origin, std::string_view id, const std::optional<std::string>& why) {
  JsonObject object;
  object.add("id", id).add("done", !why);
  if (why) object.add("why", *why);
  add_origin(object, origin);
  return object.text();
}

AlarmsPart alarms_part(const Origin& origin, const Picture& picture, ChangeNumber after, std::string_view replay) {
  AlarmsPart part{.payload = {}, .through = after};
  JsonArray array;
  std::size_t bytes = kPartBytes;
  auto at = picture.alarms.upper_bound(after);
  for (; at != picture.alarms.end(); ++at) {
    // Who would be told of such an alarm here would not be told of its end.
    if (!at->second.was_told) continue;
    const JsonObject form = output::output_alarm_form(at->second, picture.ledger_id, picture.profile);
    const std::size_t more = form.text().size() + 1;  // and a comma
    const bool is_first = part.through == after;
    if (!is_first && bytes + more > kMostPayloadBytes) break;
    array.add(form);
    bytes += more;
    part.through = at->first;
  }
  part.is_last = at == picture.alarms.end();
  // No alarm of a later change was there yet.
  if (part.is_last) part.through = std::max(part.through, picture.number);
  JsonObject object;
  object.add("ledger_id", picture.ledger_id)
      .add("replay", replay)
      .add("number", picture.number)
      .add("after", after)
      .add("through", part.through)
      .add("last", part.is_last)
      .add("alarms", array);
  add_origin(object, origin);
  part.payload = object.text();
  return part;
}

std::size_t alarm_bytes(const output::OutputAlarm& alarm, std::string_view ledger_id,
                        const engine::AlarmProfile& profile) {
  return output::output_alarm_form(alarm, ledger_id, profile).text().size() + 1;  // and a comma
}

std::string page_payload(std::string_view ledger_id, ChangeNumber number, std::size_t page,
                         const std::vector<const output::OutputAlarm*>& alarms, const engine::AlarmProfile& profile) {
  JsonArray array;
  for (const output::OutputAlarm* const one : alarms) array.add(output::output_alarm_form(*one, ledger_id, profile));
  JsonObject object;
  object.add("ledger_id", ledger_id).add("number", number).add("page", page).add("alarms", array);
  return object.text();
}

std::string index_payload(const Origin& origin, std::string_view ledger_id, ChangeNumber number, std::size_t count,
                          const std::vector<PageNumber>& pages) {
  JsonArray array;
  for (const PageNumber& one : pages) {
    JsonObject page;
    page.add("page", one.page).add("number", one.number);
    array.add(page);
  }
  JsonObject object;
  object.add("ledger_id", ledger_id).add("number", number).add("count", count).add("pages", array);
  add_origin(object, origin);
  return object.text();
}

std::string online_payload(const Origin& origin, const Status& status) {
  JsonObject object = state(origin, "online");
  if (!status.ledger_id.empty()) {
    object.add("ledger_id", status.ledger_id)
        .add("number", status.number)
        .add("oldest_number", status.oldest_number)
        .add("told", status.told);
  }
  return object.add("engine", status.is_engine_answering).add("at", engine::format_moment(status.at)).text();
}

std::string stopped_payload(const Origin& origin, engine::Moment at) {
  return state(origin, "offline").add("reason", "stopped").add("at", engine::format_moment(at)).text();
}

std::string lost_payload(const Origin& origin) { return state(origin, "offline").add("reason", "lost").text(); }

}  // namespace polaiga::mqtt
