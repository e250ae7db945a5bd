#include "redfish/event_service.h"

#include <algorithm>
#include <ctime>
#include <nlohmann/json.hpp>
#include <utility>

#include "model/moment.h"
#include "redfish/errors.h"
#include "redfish/fault_log.h"
#include "redfish/messages.h"

namespace polaiga::web {

using engine::JsonArray;
using engine::JsonObject;
using nlohmann::json;

namespace {

constexpr std::size_t kMostStreams = 1000;

std::string service_uri() { return redfish_uri("/EventService"); }
std::string subscriptions_uri() { return service_uri() + "/Subscriptions"; }

JsonArray texts(const std::vector<std::string>& list) {
  JsonArray array;
  for (const std::string& text : list) array.add(text);
  return array;
}

JsonObject stream_form(const OpenStreams::One& stream) {
  const std::string host = stream.client.find(':') == std::string::npos ? stream.client : "[" + stream.client + "]";
  return resource(subscriptions_uri() + "/" + stream.id, "EventDestination.v1_16_0.EventDestination", stream.id,
                  "An open event stream")
      .add("Destination", "redfish-sse://" + (host.empty() ? std::string("localhost") : host))
      .add("SubscriptionType", "SSE")
      .add("Protocol", "Redfish")
      .add("EventFormatType", "Event")
      .add("Context", "")
      .add("Status", JsonObject().add("State", "Enabled").add("Health", "OK"));
}

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

// The event that a client wants to see. It begins with what a client leaves out.
EventRecord test_event(const json& asked) {
  constexpr std::string_view kNames[] = {"EventGroupId", "EventId",          "EventTimestamp", "EventType",
                                         "Message",      "MessageArgs",      "MessageId",      "MessageSeverity",
                                         "Severity",     "OriginOfCondition"};
  for (const auto& [name, value] : asked.items()) {
    if (std::ranges::find(kNames, name) == std::end(kNames)) throw Refusal(refusals::kPropertyUnknown, {name});
    if (!is_kind(value, name)) throw Refusal(refusals::kPropertyType, {"...", name}, "#/" + name);
  }
  if (!asked.contains("MessageId")) throw Refusal(refusals::kPropertyMissing, {"MessageId"}, "#/MessageId");
  const auto text = [&](const char* name, const std::string& otherwise) { return asked.value(name, otherwise); };
  const std::string message_id = text("MessageId", "");
  if (!is_message_id(message_id)) throw Refusal(refusals::kPropertyFormat, {"...", "MessageId"}, "#/MessageId");
  const std::string at = text("EventTimestamp", engine::format_moment(std::time(nullptr)));
  if (!engine::parse_moment(at))
    throw Refusal(refusals::kPropertyFormat, {"...", "EventTimestamp"}, "#/EventTimestamp");
  const std::string health = text("MessageSeverity", text("Severity", "OK"));
  if (health != "OK" && health != "Warning" && health != "Critical") {
    throw Refusal(refusals::kPropertyNotInList, {"...", "MessageSeverity"}, "#/MessageSeverity");
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

// What goes wrong with the state file is told to whoever runs the server, and the client learns that it is not its own
// fault.
template <class Act>
auto storing(const Pusher::Tell& tell, Act act) {
  try {
    return act();
  } catch (const Refusal&) {
    throw;
  } catch (const std::exception& error) {
    tell(error.what());
    throw Refusal(refusals::kInternal, {}, {}, "The subscriptions cannot be stored.");
  }
}

}  // namespace

EventService::EventService(Site& site, const std::string& directory, const PushOptions& options, Pusher::Tell tell,
                           std::function<void()> wake_streams)
    : site_(site),
      tell_(std::move(tell)),
      wake_streams_(std::move(wake_streams)),
      store_(directory),
      pusher_(site.live, store_, options, tell_) {}

JsonObject EventService::service() const {
  JsonObject test;
  test.add("target", service_uri() + "/Actions/EventService.SubmitTestEvent");
  const PushOptions& options = pusher_.options();
  return resource(service_uri(), "EventService.v1_12_0.EventService", "EventService", "Events")
      .add("Description",
           store_.is_enabled()
               ? "Each change of an alarm is an event, pushed or over an event stream"
               : "Each change of an alarm is an event over an event stream. Events are not pushed, because this server "
                 "has no directory for subscriptions")
      .add("ServiceEnabled", true)
      .add("Status", JsonObject().add("State", "Enabled").add("Health", "OK"))
      .add("DeliveryRetryAttempts", options.retry_attempts)
      .add("DeliveryRetryIntervalSeconds", options.retry_interval.count())
      .add("EventFormatTypes", JsonArray().add("Event"))
      .add("EventTypesForSubscription", JsonArray().add("Alert"))
      .add("RegistryPrefixes", JsonArray().add(kRegistryPrefix))
      .add("Severities", JsonArray().add("OK").add("Warning").add("Critical"))
      .add("ExcludeMessageId", false)
      .add("ExcludeRegistryPrefix", false)
      .add("IncludeOriginOfConditionSupported", false)
      .add("OriginResourcesSupported", false)
      .add("SubordinateResourcesSupported", false)
      .add("ServerSentEventUri", service_uri() + "/SSE")
      .add("Subscriptions", link_to(subscriptions_uri()))
      .add("Actions", JsonObject().add("#EventService.SubmitTestEvent", test));
}

JsonObject EventService::form(const Subscription& of) const {
  const std::string uri = subscriptions_uri() + "/" + of.id;
  const std::string trouble = pusher_.trouble_of(of.id);
  JsonObject actions;
  for (const char* const name : {"SuspendSubscription", "ResumeSubscription"}) {
    const std::string action = std::string("EventDestination.") + name;
    actions.add("#" + action, JsonObject().add("target", uri + "/Actions/" + action));
  }
  JsonObject ours;
  ours.add("ledger_id", of.cursor.ledger_id).add("number", of.cursor.number);
  if (!trouble.empty()) ours.add("trouble", trouble);
  JsonObject body = resource(uri, "EventDestination.v1_16_0.EventDestination", of.id, "Subscription " + of.id);
  body.add("Destination", of.destination)
      .add("SubscriptionType", "RedfishEvent")
      .add("Protocol", "Redfish")
      .add("EventFormatType", "Event")
      .add("Context", of.context)
      .add("HttpHeaders", JsonArray())  // they may be secrets
      .add("EventTypes", JsonArray().add("Alert"))
      .add("RegistryPrefixes", texts(of.registry_prefixes))
      .add("MessageIds", texts(of.message_ids))
      .add("Severities", texts(of.severities))
      .add("DeliveryRetryPolicy", policy_word(of.policy))
      .add("VerifyCertificate", of.verifies_certificate)
      .add("Status", JsonObject()
                         .add("State", of.is_suspended ? "Disabled" : "Enabled")
                         .add("Health", of.is_suspended || !trouble.empty() ? "Warning" : "OK"))
      .add("Actions", actions)
      .add("Oem", oem("EventDestination.v1_0_0.Subscription", ours));
  return body;
}

JsonObject EventService::subscriptions(const MemberRange& range) const {
  std::vector<std::string> uris;
  for (const Subscription& one : store_.all()) uris.push_back(subscriptions_uri() + "/" + one.id);
  for (const auto& one : streams_.all()) uris.push_back(subscriptions_uri() + "/" + one->id);
  return collection_of_links(subscriptions_uri(), "EventDestinationCollection.EventDestinationCollection",
                             "Subscriptions", range, uris);
}

std::optional<JsonObject> EventService::subscription(const std::string& id) const {
  if (const auto found = store_.find(id)) return form(*found);
  if (const auto stream = streams_.find(id)) return stream_form(*stream);
  return std::nullopt;
}

JsonObject EventService::subscribe(const Request& request, std::string& uri) {
  if (!store_.is_enabled()) {
    throw Refusal(refusals::kServiceDisabled, {subscriptions_uri()}, {},
                  "This server has no directory to keep subscriptions in; it is given with --state.");
  }
  Subscription asked = parse_subscription(request.body);
  const auto view = view_of(site_);
  asked.cursor = {view->of.ledger_id, view->of.number};
  const auto made = storing(tell_, [&] { return store_.add(std::move(asked)); });
  if (!made) throw Refusal(refusals::kTooManySubscriptions);
  pusher_.wake();
  uri = subscriptions_uri() + "/" + made->id;
  return form(*made);
}

void EventService::unsubscribe(const std::string& id) {
  if (const auto stream = streams_.find(id)) {
    stream->is_ended = true;
    wake_streams_();
    return;
  }
  if (!storing(tell_, [&] { return store_.remove(id); })) {
    throw Refusal(refusals::kMissing, {subscriptions_uri() + "/" + id});
  }
  pusher_.wake();
}

void EventService::suspend(const std::string& id, bool is_suspended) {
  if (!storing(tell_, [&] { return store_.set_suspended(id, is_suspended); })) {
    throw Refusal(refusals::kMissing, {subscriptions_uri() + "/" + id});
  }
  pusher_.retry_now(id);
}

void EventService::submit_test(const Request& request) {
  const EventRecord event = test_event(parse_body(request.body));
  tests_.add(event);
  wake_streams_();
  if (!pusher_.test(event)) {
    throw Refusal(refusals::kUnavailable, {"30"}, {}, "A subscriber has not taken the tests before this one yet.");
  }
}

Response EventService::stream(const Request& request) {
  if (streams_.all().size() >= kMostStreams) throw Refusal(refusals::kTooManySubscriptions);
  const auto view = view_of(site_);
  EventCursor cursor{view->of.ledger_id, view->of.number};
  if (const std::string_view last = request.header("last-event-id"); !last.empty()) {
    const auto after = cursor_after(last);
    // An event that is not ours counts as one of a ledger that is gone, so the client learns that it lost something.
    cursor = after.value_or(EventCursor{"unknown", 0});
  }
  Response response{.headers = {{"Content-Type", "text/event-stream"}, {"Cache-Control", "no-store"}}};
  if (request.method == Method::kHead) return response;
  response.stream =
      std::make_unique<EventStream>(site_.live, streams_, tests_, request.peer.address, std::move(cursor));
  return response;
}

}  // namespace polaiga::web
