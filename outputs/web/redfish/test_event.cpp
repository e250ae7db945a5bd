#include "redfish/test_event.h"

#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

#include "model/moment.h"
#include "redfish/errors.h"
#include "redfish/request_body.h"

namespace polaiga::web {

using nlohmann::json;

namespace {

// MessageId is as in "Polaiga.1.0.F0395".
bool is_message_id(const std::string& text) {
  const auto is_number = [](std::string_view part) {
    return !part.empty() && std::ranges::all_of(part, [](char c) { return c >= '0' && c <= '9'; });
  };
  const auto is_word = [](std::string_view part) {
    return !part.empty() && std::ranges::all_of(part, [](char c) {
      return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    });
  };
  std::vector<std::string_view> parts;
  for (std::string_view rest = text;;) {
    const std::size_t dot = rest.find('.');
    parts.push_back(rest.substr(0, dot));
    if (dot == std::string_view::npos) break;
    rest.remove_prefix(dot + 1);
  }
  return parts.size() == 4 && is_word(parts[0]) && is_number(parts[1]) && is_number(parts[2]) && is_word(parts[3]);
}

bool is_kind(const json& value, std::string_view name) {
  if (name == "MessageArgs") {
    return value.is_array() && std::ranges::all_of(value, [](const json& one) { return one.is_string(); });
  }
  return name == "EventGroupId" ? value.is_number_integer() : value.is_string();
}

}  // namespace

EventRecord parse_test_event(std::string_view body) {
  const json asked = parse_body(body);
  constexpr std::string_view kNames[] = {"EventGroupId", "EventId",          "EventTimestamp", "EventType",
                                         "Message",      "MessageArgs",      "MessageId",      "MessageSeverity",
                                         "Severity",     "OriginOfCondition"};
  for (const auto& [name, value] : asked.items()) {
    if (std::ranges::find(kNames, name) == std::end(kNames)) throw Refusal(Reason::kPropertyUnknown, {brief(name)});
    if (!is_kind(value, name)) throw Refusal(Reason::kPropertyType, {brief(value), name}, "#/" + name);
  }
  if (!asked.contains("MessageId")) throw Refusal(Reason::kPropertyMissing, {"MessageId"}, "#/MessageId");
  const auto text = [&](const char* name, const std::string& otherwise) { return asked.value(name, otherwise); };
  const std::string message_id = text("MessageId", "");
  if (!is_message_id(message_id))
    throw Refusal(Reason::kPropertyFormat, {brief(message_id), "MessageId"}, "#/MessageId");
  const std::string at = text("EventTimestamp", engine::format_moment(std::time(nullptr)));
  if (!engine::parse_moment(at)) {
    throw Refusal(Reason::kPropertyFormat, {brief(at), "EventTimestamp"}, "#/EventTimestamp");
  }
  const std::string health = text("MessageSeverity", text("Severity", "OK"));
  if (health != "OK" && health != "Warning" && health != "Critical") {
    throw Refusal(Reason::kPropertyNotInList, {brief(health), "MessageSeverity"}, "#/MessageSeverity");
  }
  EventRecord event{.id = text("EventId", "test"), .message_id = message_id, .health = health, .json = {}};
  event.json = {{"EventType", text("EventType", "Alert")},
                {"EventId", event.id},
                {"MemberId", "0"},
                {"EventTimestamp", at},
                {"MessageId", message_id},
                {"Message", text("Message", "This is a test.")},
                {"MessageArgs", asked.value("MessageArgs", json::array())},
                {"MessageSeverity", health},
                {"Severity", health}};
  if (asked.contains("EventGroupId")) event.json["EventGroupId"] = asked.at("EventGroupId");
  if (asked.contains("OriginOfCondition")) event.json["OriginOfCondition"]["@odata.id"] = asked.at("OriginOfCondition");
  return event;
}

}  // namespace polaiga::web
