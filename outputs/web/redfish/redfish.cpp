#include "redfish/redfish.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "http/answers.h"
#include "ledger/ledger.h"
#include "redfish/errors.h"

namespace polaiga::web {

using engine::JsonArray;
using engine::JsonObject;

namespace {

enum class Needs : std::uint8_t {
  kNothing,  // whoever asks; the resource tells what he must do to be let in
  kSight,    // to ask: the right to see; to change: the right to act
  kOwn,      // the resource looks itself, after the right to see
};

// The schemas of the resources that there are, by name and version, as the metadata document lists them.
constexpr std::pair<const char*, const char*> kSchemas[] = {
    {"ServiceRoot", "v1_20_0"},
    {"SessionService", "v1_2_0"},
    {"SessionCollection", ""},
    {"Session", "v1_8_0"},
    {"ComputerSystemCollection", ""},
    {"ComputerSystem", "v1_27_0"},
    {"ChassisCollection", ""},
    {"Chassis", "v1_28_0"},
    {"ManagerCollection", ""},
    {"Manager", "v1_24_0"},
    {"LogServiceCollection", ""},
    {"LogService", "v1_9_0"},
    {"LogEntryCollection", ""},
    {"LogEntry", "v1_21_0"},
    {"MessageRegistryFileCollection", ""},
    {"MessageRegistryFile", "v1_1_5"},
    {"MessageRegistry", "v1_7_0"},
    {"EventService", "v1_12_0"},
    {"EventDestinationCollection", ""},
    {"EventDestination", "v1_16_0"},
    {"Event", "v1_13_0"},
};

// What the service root leads to.
constexpr const char* kServices[] = {"Systems", "Chassis", "Managers", "Registries", "EventService", "SessionService"};

std::string metadata_text() {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<edmx:Edmx xmlns:edmx=\"http://docs.oasis-open.org/odata/ns/edmx\" Version=\"4.0\">\n";
  for (const auto& [name, version] : kSchemas) {
    text += "  <edmx:Reference Uri=\"http://redfish.dmtf.org/schemas/v1/" + std::string(name) + "_v1.xml\">\n";
    text += "    <edmx:Include Namespace=\"" + std::string(name) + "\"/>\n";
    if (*version != '\0') {
      text += "    <edmx:Include Namespace=\"" + std::string(name) + "." + version + "\"/>\n";
    }
    text += "  </edmx:Reference>\n";
  }
  text +=
      "  <edmx:Reference Uri=\"http://redfish.dmtf.org/schemas/v1/RedfishExtensions_v1.xml\">\n"
      "    <edmx:Include Namespace=\"RedfishExtensions.v1_0_0\" Alias=\"Redfish\"/>\n"
      "  </edmx:Reference>\n"
      "  <edmx:DataServices>\n"
      "    <Schema xmlns=\"http://docs.oasis-open.org/odata/ns/edm\" Namespace=\"Service\">\n"
      "      <EntityContainer Name=\"Service\" Extends=\"ServiceRoot.v1_20_0.ServiceContainer\"/>\n"
      "    </Schema>\n"
      "  </edmx:DataServices>\n"
      "</edmx:Edmx>\n";
  return text;
}

Response give(const Request& request, const JsonObject& body, std::string_view type) {
  return resource_response(request, body.line(), type);
}

// The member of a collection that a URI names, if it is there.
Response give(const Request& request, const std::optional<JsonObject>& body, std::string_view type) {
  expect_no_range(request.target);
  if (!body) {
    std::string uri;
    for (const std::string& segment : request.target.path) uri.append("/").append(percent_encoded(segment));
    throw Refusal(refusals::kMissing, {uri});
  }
  return give(request, *body, type);
}

Response created(const JsonObject& body, const std::string& uri) {
  return {.status = 201,
          .headers = {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}, {"Location", uri}},
          .body = std::make_shared<const std::string>(body.line())};
}

Response done() { return {.status = 204, .headers = {{"Cache-Control", "no-store"}}}; }

void expect_json(const Request& request) {
  std::string type(request.header("content-type").substr(0, request.header("content-type").find(';')));
  std::ranges::transform(type, type.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  while (type.ends_with(' ')) type.pop_back();
  if (type != "application/json" && !(type.empty() && request.body.empty())) throw Refusal(refusals::kWrongMediaType);
}

std::string sessions_uri() { return redfish_uri("/SessionService/Sessions"); }

JsonObject session_form(const SessionStore::Session& session) {
  return resource(sessions_uri() + "/" + session.id, "Session.v1_8_0.Session", session.id, "Session of " + session.user)
      .add("UserName", session.user)
      .add("SessionType", "Redfish")
      .add("CreatedTime", engine::format_moment(session.created));
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

}  // namespace

struct Redfish::Route {
  const char* path;  // below /redfish/v1/; "*" stands for any segment
  const char* methods;
  Needs needs;
  Response (Redfish::*answer)(Ask& ask);
};

const Redfish::Route Redfish::kRoutes[] = {
    {"", "GET, HEAD", Needs::kNothing, &Redfish::service_root},
    {"odata", "GET, HEAD", Needs::kNothing, &Redfish::odata},
    {"$metadata", "GET, HEAD", Needs::kNothing, &Redfish::metadata},
    {"SessionService", "GET, HEAD", Needs::kSight, &Redfish::session_service},
    {"SessionService/Sessions", "GET, HEAD, POST", Needs::kNothing, &Redfish::sessions},
    {"SessionService/Sessions/Members", "POST", Needs::kNothing, &Redfish::sessions},
    {"SessionService/Sessions/*", "GET, HEAD, DELETE", Needs::kOwn, &Redfish::session},
    {"Systems", "GET, HEAD", Needs::kSight, &Redfish::systems},
    {"Systems/*", "GET, HEAD", Needs::kSight, &Redfish::system},
    {"Systems/*/LogServices", "GET, HEAD", Needs::kSight, &Redfish::system_logs},
    {"Chassis", "GET, HEAD", Needs::kSight, &Redfish::all_chassis},
    {"Chassis/*", "GET, HEAD", Needs::kSight, &Redfish::chassis},
    {"Managers", "GET, HEAD", Needs::kSight, &Redfish::managers},
    {"Managers/polaiga", "GET, HEAD", Needs::kSight, &Redfish::manager},
    {"Managers/polaiga/LogServices", "GET, HEAD", Needs::kSight, &Redfish::manager_logs},
    {"Managers/polaiga/LogServices/FaultLog", "GET, HEAD", Needs::kSight, &Redfish::fault_log},
    {"Managers/polaiga/LogServices/FaultLog/Entries", "GET, HEAD", Needs::kSight, &Redfish::entries},
    {"Managers/polaiga/LogServices/FaultLog/Entries/*", "GET, HEAD", Needs::kSight, &Redfish::entry},
    {"Managers/polaiga/LogServices/FaultLog/Actions/LogService.ClearLog", "POST", Needs::kOwn, &Redfish::clear_log},
    {"Registries", "GET, HEAD", Needs::kSight, &Redfish::registries},
    {"Registries/Polaiga", "GET, HEAD", Needs::kSight, &Redfish::registry_file},
    {"Registries/Polaiga/Polaiga.1.0.0.json", "GET, HEAD", Needs::kSight, &Redfish::registry},
    {"EventService", "GET, HEAD", Needs::kSight, &Redfish::event_service},
    {"EventService/SSE", "GET, HEAD", Needs::kSight, &Redfish::event_stream},
    {"EventService/Actions/EventService.SubmitTestEvent", "POST", Needs::kSight, &Redfish::test_event},
    {"EventService/Subscriptions", "GET, HEAD, POST", Needs::kSight, &Redfish::subscriptions},
    {"EventService/Subscriptions/Members", "POST", Needs::kSight, &Redfish::subscriptions},
    {"EventService/Subscriptions/*", "GET, HEAD, DELETE", Needs::kSight, &Redfish::subscription},
    {"EventService/Subscriptions/*/Actions/EventDestination.SuspendSubscription", "POST", Needs::kSight,
     &Redfish::suspend},
    {"EventService/Subscriptions/*/Actions/EventDestination.ResumeSubscription", "POST", Needs::kSight,
     &Redfish::resume},
};

Redfish::Redfish(Site& site, RedfishOptions options)
    : site_(site),
      options_(std::move(options)),
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
    response = refusal_response(Refusal(refusals::kUnavailable, {"5"}, {}, std::string(error.what()) + "."));
  } catch (const std::exception& error) {
    options_.tell(error.what());
    response = refusal_response(Refusal(refusals::kInternal));
  }
  response.headers.emplace_back("OData-Version", "4.0");
  return response;
}

Response Redfish::route(const Request& request, const Caller& caller) {
  const std::string_view version = request.header("odata-version");
  if (!version.empty() && version != "4.0") throw Refusal(refusals::kWrongODataVersion, {std::string(version)});
  Ask ask{.request = request, .caller = caller, .path = request.target.path, .chosen = {}};
  if (ask.path.back().empty()) ask.path.pop_back();  // "/redfish/v1/" is "/redfish/v1"
  if (ask.path.size() == 1) {
    if (!ask.is_question()) {
      Response response = refusal_response(Refusal(refusals::kNotAllowed));
      response.headers.emplace_back("Allow", "GET, HEAD");
      return response;
    }
    return give(request, JsonObject().add("v1", "/redfish/v1/"), "");
  }
  if (ask.path[1] != "v1") throw Refusal(refusals::kMissing, {"/redfish/" + percent_encoded(ask.path[1])});
  ask.path.erase(ask.path.begin(), ask.path.begin() + 2);
  return below_root(ask);
}

Response Redfish::below_root(Ask& ask) {
  for (const Route& route : kRoutes) {
    const std::vector<std::string> wanted = segments(route.path);
    const bool fits = std::ranges::equal(wanted, ask.path, [](const std::string& want, const std::string& got) {
      return want == "*" ? !got.empty() : want == got;
    });
    if (!fits) continue;
    if (route.needs != Needs::kNothing && !ask.caller.may_see()) throw Refusal(refusals::kNoSession);
    if (!has_method(route.methods, ask.request.method)) {
      Response response = refusal_response(Refusal(refusals::kNotAllowed));
      response.headers.emplace_back("Allow", route.methods);
      return response;
    }
    if (route.needs == Needs::kSight && !ask.is_question() && !ask.caller.may_act()) {
      throw Refusal(refusals::kNoPrivilege);
    }
    if (ask.request.method == Method::kPost) expect_json(ask.request);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      if (wanted[i] == "*") ask.chosen.push_back(ask.path[i]);
    }
    Response response = (this->*route.answer)(ask);
    response.headers.emplace_back("Allow", route.methods);
    return response;
  }
  if (!ask.caller.may_see()) throw Refusal(refusals::kNoSession);
  const auto actions = std::ranges::find(ask.path, "Actions");
  if (actions != ask.path.end() && actions + 1 != ask.path.end()) {
    throw Refusal(refusals::kActionUnsupported, {percent_encoded(*(actions + 1))});
  }
  std::string uri(kRedfishRoot);
  for (const std::string& segment : ask.path) uri.append("/").append(percent_encoded(segment));
  throw Refusal(refusals::kMissing, {uri});
}

Response Redfish::service_root(Ask& ask) {
  expect_no_range(ask.request.target);
  constexpr std::string_view kType = "ServiceRoot.v1_20_0.ServiceRoot";
  JsonObject features;
  features.add("ExcerptQuery", false)
      .add("FilterQuery", false)
      .add("OnlyMemberQuery", false)
      .add("SelectQuery", false)
      .add("TopSkipQuery", true)
      .add("MultipleHTTPRequests", true)
      .add("IncludeOriginOfConditionQuery", false)
      .add("ExpandQuery",
           JsonObject().add("ExpandAll", false).add("Levels", false).add("Links", false).add("NoLinks", false));
  JsonObject body = resource("/redfish/v1/", kType, "RootService", "polaiga");
  body.add("RedfishVersion", "1.21.0").add("Product", "polaiga").add("ProtocolFeaturesSupported", features);
  for (const char* const name : kServices) body.add(name, link_to(redfish_uri("/") + name));
  body.add("Links", JsonObject()
                        .add("Sessions", link_to(sessions_uri()))
                        .add("ManagerProvidingService", link_to(redfish_uri("/Managers/polaiga"))));
  return give(ask.request, body, kType);
}

Response Redfish::odata(Ask& ask) {
  JsonArray list;
  const auto add = [&](const std::string& name, const std::string& uri) {
    list.add(JsonObject().add("name", name).add("kind", "Singleton").add("url", uri));
  };
  add("Service", "/redfish/v1/");
  for (const char* const name : kServices) add(name, redfish_uri("/") + name);
  add("Sessions", sessions_uri());
  return give(ask.request, JsonObject().add("@odata.context", redfish_uri("/$metadata")).add("value", list), "");
}

Response Redfish::metadata(Ask& ask) {
  return content(ask.request, std::make_shared<const std::string>(metadata_text()), "application/xml");
}

Response Redfish::session_service(Ask& ask) {
  expect_no_range(ask.request.target);
  constexpr std::string_view kType = "SessionService.v1_2_0.SessionService";
  SessionStore* const store = options_.sessions;
  JsonObject body = resource(redfish_uri("/SessionService"), kType, "SessionService", "Sessions");
  body.add("ServiceEnabled", store != nullptr)
      .add("Status", JsonObject().add("State", store != nullptr ? "Enabled" : "Disabled").add("Health", "OK"));
  if (store != nullptr) body.add("SessionTimeout", store->timeout_seconds());
  body.add("Sessions", link_to(sessions_uri()));
  return give(ask.request, body, kType);
}

Response Redfish::sessions(Ask& ask) {
  SessionStore* const store = options_.sessions;
  if (ask.is_question()) {
    if (!ask.caller.may_see()) throw Refusal(refusals::kNoSession);
    std::vector<std::string> uris;
    if (store != nullptr) {
      for (const auto& one : store->list()) {
        if (ask.caller.may_act() || one.user == ask.caller.name) uris.push_back(sessions_uri() + "/" + one.id);
      }
    }
    constexpr std::string_view kType = "SessionCollection.SessionCollection";
    return give(ask.request,
                collection_of_links(sessions_uri(), kType, "Sessions", read_member_range(ask.request.target), uris),
                kType);
  }
  if (store == nullptr) {
    throw Refusal(refusals::kServiceDisabled, {sessions_uri()}, {}, "This server has no users, so nobody can log in.");
  }
  const nlohmann::json asked = parse_body(ask.request.body);
  for (const auto& [name, value] : asked.items()) {
    if (name != "UserName" && name != "Password") throw Refusal(refusals::kPropertyUnknown, {name});
    if (!value.is_string()) throw Refusal(refusals::kPropertyType, {"...", name}, "#/" + name);
  }
  for (const char* const name : {"UserName", "Password"}) {
    if (!asked.contains(name)) throw Refusal(refusals::kPropertyMissing, {name}, std::string("#/") + name);
  }
  auto opened = store->create(ask.request, asked.at("UserName"), asked.at("Password"));
  if (auto* const refused = std::get_if<Response>(&opened)) return in_redfish_form(std::move(*refused));
  const auto& made = std::get<SessionStore::NewSession>(opened);
  Response response = created(session_form(made.session), sessions_uri() + "/" + made.session.id);
  response.headers.emplace_back("X-Auth-Token", made.token);
  return response;
}

Response Redfish::session(Ask& ask) {
  expect_no_range(ask.request.target);
  SessionStore* const store = options_.sessions;
  const std::string& id = ask.chosen.front();
  if (store != nullptr) {
    for (const auto& one : store->list()) {
      if (one.id != id || (!ask.caller.may_act() && one.user != ask.caller.name)) continue;
      if (ask.is_question()) return give(ask.request, session_form(one), "Session.v1_8_0.Session");
      store->remove(id);
      return done();
    }
  }
  throw Refusal(refusals::kMissing, {sessions_uri() + "/" + percent_encoded(id)});
}

Response Redfish::systems(Ask& ask) {
  return give(ask.request, inventory_.systems(read_member_range(ask.request.target)),
              "ComputerSystemCollection.ComputerSystemCollection");
}

Response Redfish::system(Ask& ask) {
  return give(ask.request, inventory_.system(ask.chosen.front()), "ComputerSystem.v1_27_0.ComputerSystem");
}

Response Redfish::system_logs(Ask& ask) {
  const auto body = inventory_.system_logs(ask.chosen.front(), read_member_range(ask.request.target));
  if (!body) throw Refusal(refusals::kMissing, {redfish_uri("/Systems/") + percent_encoded(ask.chosen.front())});
  return give(ask.request, *body, "LogServiceCollection.LogServiceCollection");
}

Response Redfish::all_chassis(Ask& ask) {
  return give(ask.request, inventory_.all_chassis(read_member_range(ask.request.target)),
              "ChassisCollection.ChassisCollection");
}

Response Redfish::chassis(Ask& ask) {
  return give(ask.request, inventory_.chassis(ask.chosen.front()), "Chassis.v1_28_0.Chassis");
}

Response Redfish::managers(Ask& ask) {
  constexpr std::string_view kType = "ManagerCollection.ManagerCollection";
  return give(ask.request,
              collection_of_links(redfish_uri("/Managers"), kType, "Managers", read_member_range(ask.request.target),
                                  {redfish_uri("/Managers/polaiga")}),
              kType);
}

Response Redfish::manager(Ask& ask) {
  expect_no_range(ask.request.target);
  return give(ask.request, inventory_.manager(), "Manager.v1_24_0.Manager");
}

Response Redfish::manager_logs(Ask& ask) {
  constexpr std::string_view kType = "LogServiceCollection.LogServiceCollection";
  return give(ask.request,
              collection_of_links(redfish_uri("/Managers/polaiga/LogServices"), kType, "Logs",
                                  read_member_range(ask.request.target), {std::string(kLogUri)}),
              kType);
}

Response Redfish::fault_log(Ask& ask) {
  expect_no_range(ask.request.target);
  return give(ask.request, log_.service(), "LogService.v1_9_0.LogService");
}

Response Redfish::entries(Ask& ask) {
  constexpr std::size_t kUsual = 100;  // each of them is given in full
  return give(ask.request, log_.entries(read_member_range(ask.request.target, kUsual)),
              "LogEntryCollection.LogEntryCollection");
}

Response Redfish::entry(Ask& ask) {
  return give(ask.request, log_.entry(ask.chosen.front()), "LogEntry.v1_21_0.LogEntry");
}

Response Redfish::clear_log(Ask& /*ask*/) { throw Refusal(refusals::kLogIsKept); }

Response Redfish::registries(Ask& ask) {
  constexpr std::string_view kType = "MessageRegistryFileCollection.MessageRegistryFileCollection";
  return give(ask.request,
              collection_of_links(redfish_uri("/Registries"), kType, "Message registries",
                                  read_member_range(ask.request.target), {redfish_uri("/Registries/Polaiga")}),
              kType);
}

Response Redfish::registry_file(Ask& ask) {
  expect_no_range(ask.request.target);
  return give(ask.request, Registry::file(), "MessageRegistryFile.v1_1_5.MessageRegistryFile");
}

Response Redfish::registry(Ask& ask) {
  expect_no_range(ask.request.target);
  return content(ask.request, registry_.text(view_of(site_)->of.profile), "application/json");
}

Response Redfish::event_service(Ask& ask) {
  expect_no_range(ask.request.target);
  return give(ask.request, events_.service(), "EventService.v1_12_0.EventService");
}

Response Redfish::event_stream(Ask& ask) { return events_.stream(ask.request); }

Response Redfish::subscriptions(Ask& ask) {
  if (ask.is_question()) {
    return give(ask.request, events_.subscriptions(read_member_range(ask.request.target)),
                "EventDestinationCollection.EventDestinationCollection");
  }
  std::string uri;
  const JsonObject made = events_.subscribe(ask.request, uri);
  return created(made, uri);
}

Response Redfish::subscription(Ask& ask) {
  if (ask.is_question()) {
    return give(ask.request, events_.subscription(ask.chosen.front()), "EventDestination.v1_16_0.EventDestination");
  }
  events_.unsubscribe(ask.chosen.front());
  return done();
}

Response Redfish::suspend(Ask& ask) {
  events_.suspend(ask.chosen.front(), true);
  return done();
}

Response Redfish::resume(Ask& ask) {
  events_.suspend(ask.chosen.front(), false);
  return done();
}

Response Redfish::test_event(Ask& ask) {
  events_.submit_test(ask.request);
  return done();
}

}  // namespace polaiga::web
