#include "redfish/session_service.h"

#include <nlohmann/json.hpp>
#include <utility>
#include <variant>
#include <vector>

#include "model/moment.h"
#include "redfish/errors.h"
#include "redfish/request_body.h"

namespace polaiga::web {

using engine::JsonObject;

namespace {

bool may_know_of(const Caller& caller, const SessionFacts& session) {
  return caller.may_act() || session.name == caller.name;
}

std::string session_uri(const SessionFacts& session) { return sessions_uri() + "/" + session.id; }

JsonObject session_form(const SessionFacts& session) {
  JsonObject body = resource(session_uri(session), schemas::kSession, session.id, "Session of " + session.name);
  body.add("UserName", session.name)
      .add("SessionType", session.kind == TokenKind::kCookie ? "WebUI" : "Redfish")
      .add("CreatedTime", engine::format_moment(session.created));
  if (!session.address.empty()) body.add("ClientOriginIPAddress", session.address);
  return body;
}

}  // namespace

std::string sessions_uri() { return redfish_uri("/SessionService/Sessions"); }

JsonObject SessionService::service() const {
  const bool is_enabled = desk_ != nullptr;
  JsonObject body = resource(redfish_uri("/SessionService"), schemas::kSessionService, "SessionService", "Sessions");
  body.add("ServiceEnabled", is_enabled)
      .add("Status", JsonObject().add("State", is_enabled ? "Enabled" : "Disabled").add("Health", "OK"));
  if (is_enabled) body.add("SessionTimeout", desk_->session_idle_limit().count());
  body.add("Sessions", link_to(sessions_uri()));
  return body;
}

JsonObject SessionService::sessions(const Caller& caller, const MemberRange& range) const {
  std::vector<std::string> uris;
  if (desk_ != nullptr) {
    for (const SessionFacts& one : desk_->sessions()) {
      if (may_know_of(caller, one)) uris.push_back(session_uri(one));
    }
  }
  return collection_of_links(sessions_uri(), schemas::kSessions, "Sessions", range, uris);
}

std::optional<SessionFacts> SessionService::find(const Caller& caller, const std::string& id) const {
  if (desk_ == nullptr) return std::nullopt;
  for (const SessionFacts& one : desk_->sessions()) {
    if (one.id == id && may_know_of(caller, one)) return one;
  }
  return std::nullopt;
}

std::optional<JsonObject> SessionService::session(const Caller& caller, const std::string& id) const {
  const auto found = find(caller, id);
  if (!found) return std::nullopt;
  return session_form(*found);
}

Response SessionService::log_in(const Request& request) {
  if (desk_ == nullptr) {
    throw Refusal(Reason::kServiceDisabled, {sessions_uri()}, {}, "This server has no users, so nobody can log in.");
  }
  const nlohmann::json asked = parse_body(request.body);
  for (const auto& [name, value] : asked.items()) {
    if (name != "UserName" && name != "Password") throw Refusal(Reason::kPropertyUnknown, {brief(name)});
    if (!value.is_string()) throw Refusal(Reason::kPropertyType, {"...", name}, "#/" + name);  // it may be a secret
  }
  for (const char* const name : {"UserName", "Password"}) {
    if (!asked.contains(name)) throw Refusal(Reason::kPropertyMissing, {name}, std::string("#/") + name);
  }
  auto opened = desk_->open_session(request, asked.at("UserName").get_ref<const std::string&>(),
                                    asked.at("Password").get_ref<const std::string&>());
  if (auto* const refused = std::get_if<Response>(&opened)) {
    return in_redfish_form(request, std::move(*refused), Reason::kBadLogin);
  }
  auto& made = std::get<Sessions::Opened>(opened);
  Response response = created_response(session_form(made.facts), session_uri(made.facts));
  response.headers.emplace_back("X-Auth-Token", std::move(made.token));
  return response;
}

bool SessionService::log_out(const Caller& caller, const std::string& id) {
  return find(caller, id) && desk_->end_session(id);
}

}  // namespace polaiga::web
