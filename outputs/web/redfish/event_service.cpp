#include "redfish/event_service.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "base/printable.h"
#include "redfish/errors.h"
#include "redfish/fault_log.h"
#include "redfish/messages.h"
#include "redfish/push_addresses.h"
#include "redfish/request_body.h"
#include "redfish/test_event.h"

namespace polaiga::web {

using engine::JsonArray;
using engine::JsonObject;
using engine::Priority;

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
  return resource(subscriptions_uri() + "/" + stream.id, schemas::kSubscription, stream.id, "An open event stream")
      .add("Destination", "redfish-sse://" + (host.empty() ? std::string("localhost") : host))
      .add("SubscriptionType", "SSE")
      .add("Protocol", "Redfish")
      .add("EventFormatType", "Event")
      .add("Context", "")
      .add("Status", JsonObject().add("State", "Enabled").add("Health", "OK"));
}

void expect_distant(const std::string& destination) {
  const std::string problem = why_not_pushed_to(destination_host(destination).value_or(""));
  if (problem.empty()) return;
  throw Refusal(Reason::kPropertyFormat, {brief(destination), "Destination"}, "#/Destination",
                problem + ", and this server pushes events there only when it is started with --push-local.");
}

// What goes wrong with the state file is told to whoever runs the server, and the client learns that it is not its own
// fault.
template <class Act>
auto storing(const Pusher::Tell& tell, Act act) {
  try {
    return act();
  } catch (const std::system_error& error) {
    tell(Priority::kError, std::string(error.what()) + ". What a client has asked for is refused");
    const bool is_full = error.code() == std::errc::no_space_on_device || error.code().value() == EDQUOT;
    if (is_full) throw Refusal(Reason::kNoStorage, {}, {}, "The disk that subscriptions are kept on is full.");
    throw Refusal(Reason::kInternal, {}, {},
                  "The subscriptions cannot be stored. This server has to be given the right to write in its --state "
                  "directory; its log says what is wrong.");
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
  return resource(service_uri(), schemas::kEventService, "EventService", "Events")
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
    actions.add("#" + action, JsonObject().add("target", std::string(uri).append("/Actions/").append(action)));
  }
  JsonObject ours;
  ours.add("ledger_id", of.cursor.ledger_id).add("number", of.cursor.number);
  if (!trouble.empty()) ours.add("trouble", trouble);
  JsonObject body = resource(uri, schemas::kSubscription, of.id, "Subscription " + of.id);
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
  return collection_of_links(subscriptions_uri(), schemas::kSubscriptions, "Subscriptions", range, uris);
}

std::optional<JsonObject> EventService::subscription(const std::string& id) const {
  if (const auto found = store_.find(id)) return form(*found);
  if (const auto stream = streams_.find(id)) return stream_form(*stream);
  return std::nullopt;
}

Response EventService::subscribe(const Request& request, const Caller& caller) {
  if (!store_.is_enabled()) {
    throw Refusal(Reason::kServiceDisabled, {subscriptions_uri()}, {},
                  "This server has no directory to keep subscriptions in; it is given with --state.");
  }
  Subscription asked = parse_subscription(request.body);
  if (!pusher_.options().allows_local) expect_distant(asked.destination);
  const auto view = view_of(site_);
  asked.cursor = {view->of.ledger_id, view->of.number};
  const auto made = storing(tell_, [&] { return store_.add(std::move(asked)); });
  if (!made) throw Refusal(Reason::kTooManySubscriptions);
  tell_(Priority::kInfo, engine::in_quotes(caller.name) + " has subscribed " + engine::in_quotes(made->destination) +
                             " to events, as subscription " + made->id);
  pusher_.wake();
  return created_response(form(*made), subscriptions_uri() + "/" + made->id);
}

bool EventService::unsubscribe(const std::string& id, const Caller& caller) {
  if (const auto stream = streams_.find(id)) {
    stream->is_ended = true;
    wake_streams_();
    return true;
  }
  if (!storing(tell_, [&] { return store_.remove(id); })) return false;
  tell_(Priority::kInfo, engine::in_quotes(caller.name) + " has deleted the subscription " + id);
  pusher_.wake();
  return true;
}

bool EventService::suspend(const std::string& id, bool is_suspended) {
  if (!storing(tell_, [&] { return store_.set_suspended(id, is_suspended); })) return false;
  pusher_.retry_now(id);
  return true;
}

void EventService::submit_test(const Request& request) {
  const EventRecord event = parse_test_event(request.body);
  tests_.add(event);
  wake_streams_();
  if (!pusher_.test(event)) {
    throw Refusal(Reason::kUnavailable, {"30"}, {}, "A subscriber has not taken the tests before this one yet.");
  }
}

Response EventService::stream(const Request& request) {
  if (streams_.all().size() >= kMostStreams) throw Refusal(Reason::kTooManySubscriptions);
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
