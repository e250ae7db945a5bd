#include "redfish/redfish.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "http/answers.h"
#include "ledger/ledger.h"
#include "redfish/errors.h"
#include "redfish/request_body.h"
#include "redfish/service_root.h"

namespace polaiga::web {

using engine::JsonArray;
using engine::JsonObject;

namespace {

Response give(const Request& request, const JsonObject& body, const Schema& schema) {
  return resource_response(request, body, schema);
}

// The member of a collection that a URI names, if it is there.
Response give(const Request& request, const std::optional<JsonObject>& body, const Schema& schema) {
  if (!body) throw Refusal(Reason::kMissing, {uri_of(request.target)});
  return resource_response(request, *body, schema);
}

// The answer to a request that changed something; `is_there` is whether there was what it names.
Response done(const Request& request, bool is_there) {
  if (!is_there) throw Refusal(Reason::kMissing, {uri_of(request.target)});
  return {.status = 204, .headers = {{"Cache-Control", "no-store"}}};
}

Response not_allowed_here(const std::string& methods) {
  Response response = refusal_response(Refusal(Reason::kNotAllowed));
  response.headers.emplace_back("Allow", methods);
  return response;
}

std::string method_name(Method method) {
  switch (method) {
    case Method::kGet:
      return "GET";
    case Method::kHead:
      return "HEAD";
    case Method::kPost:
      return "POST";
    case Method::kPatch:
      return "PATCH";
    case Method::kDelete:
      return "DELETE";
    case Method::kOther:
      break;
  }
  return "";
}

bool has_method(std::string_view allowed, Method method) {
  const std::string name = method_name(method);
  return !name.empty() && (", " + std::string(allowed) + ",").find(", " + name + ",") != std::string::npos;
}

std::vector<std::string> segments(std::string_view path) {
  std::vector<std::string> list;
  while (!path.empty()) {
    const std::size_t slash = path.find('/');
    list.emplace_back(path.substr(0, slash));
    path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
  }
  return list;
}

Response with_version(Response response) {
  response.headers.emplace_back("OData-Version", "4.0");
  return response;
}

}  // namespace

struct Redfish::Route {
  const char* path;  // below /redfish/v1/; "*" stands for any segment
  const char* methods;
  Needs needs;
  Shape shape;
  Response (Redfish::*answer)(const Ask& ask);
};

const Redfish::Route Redfish::kRoutes[] = {
    {"", "GET, HEAD", Needs::kNothing, Shape::kOne, &Redfish::root},
    {"odata", "GET, HEAD", Needs::kNothing, Shape::kOne, &Redfish::odata},
    {"$metadata", "GET, HEAD", Needs::kNothing, Shape::kOne, &Redfish::metadata},
    {"SessionService", "GET, HEAD", Needs::kSight, Shape::kOne, &Redfish::session_service},
    {"SessionService/Sessions", "GET, HEAD, POST", Needs::kNothing, Shape::kCollection, &Redfish::sessions},
    {"SessionService/Sessions/Members", "POST", Needs::kNothing, Shape::kOne, &Redfish::sessions},
    {"SessionService/Sessions/*", "GET, HEAD, DELETE", Needs::kOwn, Shape::kOne, &Redfish::session},
    {"Systems", "GET, HEAD", Needs::kSight, Shape::kCollection, &Redfish::systems},
    {"Systems/*", "GET, HEAD", Needs::kSight, Shape::kOne, &Redfish::system},
    {"Systems/*/LogServices", "GET, HEAD", Needs::kSight, Shape::kCollection, &Redfish::system_logs},
    {"Chassis", "GET, HEAD", Needs::kSight, Shape::kCollection, &Redfish::all_chassis},
    {"Chassis/*", "GET, HEAD", Needs::kSight, Shape::kOne, &Redfish::chassis},
    {"Managers", "GET, HEAD", Needs::kSight, Shape::kCollection, &Redfish::managers},
    {"Managers/polaiga", "GET, HEAD", Needs::kSight, Shape::kOne, &Redfish::manager},
    {"Managers/polaiga/LogServices", "GET, HEAD", Needs::kSight, Shape::kCollection, &Redfish::manager_logs},
    {"Managers/polaiga/LogServices/FaultLog", "GET, HEAD", Needs::kSight, Shape::kOne, &Redfish::fault_log},
    {"Managers/polaiga/LogServices/FaultLog/Entries", "GET, HEAD", Needs::kSight, Shape::kCollection,
     &Redfish::entries},
    {"Managers/polaiga/LogServices/FaultLog/Entries/*", "GET, HEAD", Needs::kSight, Shape::kOne, &Redfish::entry},
    {"Managers/polaiga/LogServices/FaultLog/Actions/LogService.ClearLog", "POST", Needs::kOwn, Shape::kOne,
     &Redfish::clear_log},
    {"Registries", "GET, HEAD", Needs::kSight, Shape::kCollection, &Redfish::registries},
    {"Registries/Polaiga", "GET, HEAD", Needs::kSight, Shape::kOne, &Redfish::registry_file},
    {"Registries/Polaiga/Polaiga.1.0.0.json", "GET, HEAD", Needs::kSight, Shape::kOne, &Redfish::registry},
    {"EventService", "GET, HEAD", Needs::kSight, Shape::kOne, &Redfish::event_service},
    {"EventService/SSE", "GET, HEAD", Needs::kSight, Shape::kOne, &Redfish::event_stream},
    {"EventService/Actions/EventService.SubmitTestEvent", "POST", Needs::kSight, Shape::kOne, &Redfish::test_event},
    {"EventService/Subscriptions", "GET, HEAD, POST", Needs::kSight, Shape::kCollection, &Redfish::subscriptions},
    {"EventService/Subscriptions/Members", "POST", Needs::kSight, Shape::kOne, &Redfish::subscriptions},
    {"EventService/Subscriptions/*", "GET, HEAD, DELETE", Needs::kSight, Shape::kOne, &Redfish::subscription},
    {"EventService/Subscriptions/*/Actions/EventDestination.SuspendSubscription", "POST", Needs::kSight, Shape::kOne,
     &Redfish::suspend},
    {"EventService/Subscriptions/*/Actions/EventDestination.ResumeSubscription", "POST", Needs::kSight, Shape::kOne,
     &Redfish::resume},
};

Redfish::Redfish(Site& site, RedfishOptions options)
    : site_(site),
      options_(std::move(options)),
      sessions_(options_.sessions),
      log_(site),
      inventory_(site, log_),
      registry_(options_.catalog),
      events_(site, options_.state_directory, options_.push, options_.tell, options_.wake_streams) {}

Response Redfish::answer(const Request& request, const Caller& caller) {
  Response response;
  try {
    response = route(request, caller);
  } catch (const Refusal& refusal) {
    response = refusal_response(refusal);
  } catch (const engine::LedgerError& error) {
    response = refusal_response(Refusal(Reason::kUnavailable, {"5"}, {}, std::string(error.what()) + "."));
  } catch (const std::exception& error) {
    options_.tell(engine::Priority::kError, "A request of Redfish has failed: " + std::string(error.what()));
    response = refusal_response(Refusal(Reason::kInternal));
  }
  return with_version(std::move(response));
}

Response Redfish::refused(const Request& request, Response response) {
  return with_version(in_redfish_form(request, std::move(response)));
}

Response Redfish::route(const Request& request, const Caller& caller) {
  const std::string_view version = request.header("odata-version");
  if (!version.empty() && version != "4.0") throw Refusal(Reason::kHeaderInvalid, {"OData-Version"});
  std::vector<std::string> path = request.target.path;
  if (path.back().empty()) path.pop_back();  // "/redfish/v1/" is "/redfish/v1"
  if (path.size() == 1) {
    if (!is_question(request)) return not_allowed_here("GET, HEAD");
    return json_content(request, JsonObject().add("v1", "/redfish/v1/").line());
  }
  if (path[1] != "v1") throw Refusal(Reason::kMissing, {uri_of(request.target)});
  path.erase(path.begin(), path.begin() + 2);
  return below_root({.request = request, .caller = caller, .chosen = {}}, path);
}

Response Redfish::below_root(Ask ask, const std::vector<std::string>& path) {
  for (const Route& route : kRoutes) {
    const std::vector<std::string> wanted = segments(route.path);
    const bool fits = std::ranges::equal(wanted, path, [](const std::string& want, const std::string& got) {
      return want == "*" ? !got.empty() : want == got;
    });
    if (!fits) continue;
    const bool asks = is_question(ask.request);
    if (route.needs != Needs::kNothing && !ask.caller.may_see()) throw Refusal(Reason::kNoSession);
    if (!has_method(route.methods, ask.request.method)) return not_allowed_here(route.methods);
    if (route.needs == Needs::kSight && !asks && !ask.caller.may_act()) throw Refusal(Reason::kNoPrivilege);
    if (asks && route.shape == Shape::kOne) expect_no_range(ask.request.target);
    if (ask.request.method == Method::kPost) expect_json(ask.request);
    const auto star = std::ranges::find(wanted, "*");
    if (star != wanted.end()) ask.chosen = path.at(static_cast<std::size_t>(star - wanted.begin()));
    Response response = (this->*route.answer)(ask);
    response.headers.emplace_back("Allow", route.methods);
    return response;
  }
  if (!ask.caller.may_see()) throw Refusal(Reason::kNoSession);
  const auto actions = std::ranges::find(path, "Actions");
  if (actions != path.end() && actions + 1 != path.end()) {
    throw Refusal(Reason::kActionUnsupported, {percent_encoded(*(actions + 1))});
  }
  throw Refusal(Reason::kMissing, {uri_of(ask.request.target)});
}

// All resources are called in one way, whether they need what this object has or not.
// NOLINTBEGIN(readability-convert-member-functions-to-static)

Response Redfish::root(const Ask& ask) { return give(ask.request, service_root(), schemas::kServiceRoot); }

Response Redfish::odata(const Ask& ask) { return json_content(ask.request, odata_document().line()); }

Response Redfish::metadata(const Ask& ask) {
  return content(ask.request, std::make_shared<const std::string>(metadata_document()), "application/xml");
}

Response Redfish::session_service(const Ask& ask) {
  return give(ask.request, sessions_.service(), schemas::kSessionService);
}

Response Redfish::sessions(const Ask& ask) {
  if (!is_question(ask.request)) return sessions_.log_in(ask.request);
  if (!ask.caller.may_see()) throw Refusal(Reason::kNoSession);
  return give(ask.request, sessions_.sessions(ask.caller, ask.range()), schemas::kSessions);
}

Response Redfish::session(const Ask& ask) {
  if (!is_question(ask.request)) return done(ask.request, sessions_.log_out(ask.caller, ask.chosen));
  return give(ask.request, sessions_.session(ask.caller, ask.chosen), schemas::kSession);
}

Response Redfish::systems(const Ask& ask) {
  return give(ask.request, inventory_.systems(ask.range()), schemas::kSystems);
}

Response Redfish::system(const Ask& ask) { return give(ask.request, inventory_.system(ask.chosen), schemas::kSystem); }

Response Redfish::system_logs(const Ask& ask) {
  return give(ask.request, inventory_.system_logs(ask.chosen, ask.range()), schemas::kLogServices);
}

Response Redfish::all_chassis(const Ask& ask) {
  return give(ask.request, inventory_.all_chassis(ask.range()), schemas::kAllChassis);
}

Response Redfish::chassis(const Ask& ask) {
  return give(ask.request, inventory_.chassis(ask.chosen), schemas::kChassis);
}

Response Redfish::managers(const Ask& ask) {
  return give(ask.request, inventory_.managers(ask.range()), schemas::kManagers);
}

Response Redfish::manager(const Ask& ask) { return give(ask.request, inventory_.manager(), schemas::kManager); }

Response Redfish::manager_logs(const Ask& ask) {
  return give(ask.request, inventory_.manager_logs(ask.range()), schemas::kLogServices);
}

Response Redfish::fault_log(const Ask& ask) { return give(ask.request, log_.service(), schemas::kLogService); }

Response Redfish::entries(const Ask& ask) {
  constexpr std::size_t kUsual = 100;  // each of them is given in full
  return give(ask.request, log_.entries(ask.range(kUsual)), schemas::kLogEntries);
}

Response Redfish::entry(const Ask& ask) { return give(ask.request, log_.entry(ask.chosen), schemas::kLogEntry); }

Response Redfish::clear_log(const Ask& /*ask*/) { throw Refusal(Reason::kLogIsKept); }

Response Redfish::registries(const Ask& ask) {
  return give(ask.request, Registry::files(ask.range()), schemas::kRegistryFiles);
}

Response Redfish::registry_file(const Ask& ask) { return give(ask.request, Registry::file(), schemas::kRegistryFile); }

Response Redfish::registry(const Ask& ask) {
  return content(ask.request, registry_.text(view_of(site_)->of.profile), "application/json");
}

Response Redfish::event_service(const Ask& ask) { return give(ask.request, events_.service(), schemas::kEventService); }

Response Redfish::event_stream(const Ask& ask) { return events_.stream(ask.request); }

Response Redfish::subscriptions(const Ask& ask) {
  if (!is_question(ask.request)) return events_.subscribe(ask.request, ask.caller);
  return give(ask.request, events_.subscriptions(ask.range()), schemas::kSubscriptions);
}

Response Redfish::subscription(const Ask& ask) {
  if (!is_question(ask.request)) return done(ask.request, events_.unsubscribe(ask.chosen, ask.caller));
  return give(ask.request, events_.subscription(ask.chosen), schemas::kSubscription);
}

Response Redfish::suspend(const Ask& ask) { return done(ask.request, events_.suspend(ask.chosen, true)); }

Response Redfish::resume(const Ask& ask) { return done(ask.request, events_.suspend(ask.chosen, false)); }

Response Redfish::test_event(const Ask& ask) {
  events_.submit_test(ask.request);
  return done(ask.request, true);
}

// NOLINTEND(readability-convert-member-functions-to-static)

}  // namespace polaiga::web
