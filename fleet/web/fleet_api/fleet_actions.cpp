#include "fleet_api/fleet_actions.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "base/printable.h"
#include "database/action_id.h"
#include "fleet_api/fleet_forms.h"
#include "fleet_api/parameters.h"
#include "http/answers.h"
#include "questions/asked_actions.h"

namespace polaiga::web {
namespace {

using engine::ActionKind;
using engine::in_quotes;
using nlohmann::json;

constexpr std::array kKinds = {ActionKind::kAcknowledge, ActionKind::kUnacknowledge, ActionKind::kClose,
                               ActionKind::kComment,     ActionKind::kShelve,        ActionKind::kUnshelve};
constexpr std::int64_t kDay = std::int64_t{24} * 60 * 60;
constexpr std::int64_t kExpiresAfter = kDay;
constexpr std::int64_t kMostUntilExpiry = 30 * kDay;
constexpr int kDeepest = 3;

json parse_object(const std::string& text) {
  const json parsed = json::parse(
      text, [](int depth, json::parse_event_t /*event*/, json& /*value*/) { return depth <= kDeepest; }, false);
  return parsed.is_object() ? parsed : json();
}

void expect_members(const json& action) {
  for (const auto& [name, value] : action.items()) {
    constexpr std::array<std::string_view, 7> kNames = {"do",      "alarms", "group",  "selection",
                                                        "comment", "for",    "expires"};
    if (std::find(kNames.begin(), kNames.end(), name) == kNames.end()) {
      throw BadParameter("There is no member " + in_quotes(name) +
                         "; there are do, alarms, group, selection, comment, for, expires");
    }
  }
}

ActionKind read_kind(const json& action) {
  const auto what = action.find("do");
  if (what != action.end() && what->is_string()) {
    const auto kind = engine::find_action(what->get<std::string>());
    if (kind && std::find(kKinds.begin(), kKinds.end(), *kind) != kKinds.end()) return *kind;
  }
  throw BadParameter("The member 'do' may be acknowledge, unacknowledge, close, comment, shelve or unshelve");
}

std::string read_comment(const json& action, ActionKind kind) {
  const auto member = action.find("comment");
  std::string comment;
  if (member != action.end()) {
    if (!member->is_string()) throw BadParameter("The member 'comment' is no text");
    comment = member->get<std::string>();
  }
  if (comment.size() > engine::kMostCommentBytes) throw BadParameter("The comment is longer than 1,024 bytes");
  if (comment.find('\0') != std::string::npos) throw BadParameter("The comment has a character NUL");
  const bool wants_one = kind == ActionKind::kClose || kind == ActionKind::kComment || kind == ActionKind::kShelve;
  if (wants_one && comment.empty()) {
    throw BadParameter("The action " + in_quotes(engine::action_word(kind)) + " wants a member 'comment'");
  }
  return comment;
}

std::int64_t read_for(const json& action, ActionKind kind) {
  const auto member = action.find("for");
  if (kind != ActionKind::kShelve) {
    if (member != action.end()) throw BadParameter("Only the action 'shelve' takes a member 'for'");
    return 0;
  }
  if (member == action.end() || !member->is_number_integer() || *member < 1 || *member > engine::kMostSilence) {
    throw BadParameter("The action 'shelve' wants a member 'for': a number of seconds from 1 to 2592000");
  }
  return member->get<std::int64_t>();
}

engine::Moment read_expiry(const json& action, engine::Moment now) {
  const auto member = action.find("expires");
  if (member == action.end()) return now + kExpiresAfter;
  const auto moment = member->is_string() ? engine::parse_moment(member->get<std::string>()) : std::nullopt;
  if (!moment || *moment <= now || *moment > now + kMostUntilExpiry) {
    throw BadParameter(
        "The member 'expires' is no RFC 3339 time, such as 2026-03-12T09:12:20Z, from now to 30 days from now");
  }
  return *moment;
}

void read_alarms(const json& action, fleet::ActionWanted& wanted) {
  const auto alarms = action.find("alarms");
  const auto group = action.find("group");
  if ((alarms == action.end()) == (group == action.end())) {
    throw BadParameter("An action is about 'alarms' or about a 'group': one of the two members is wanted");
  }
  if (group != action.end()) {
    if (!group->is_number_integer() || *group < 1 || *group > kMostNumbered) {
      throw BadParameter("The member 'group' is not the number of a group");
    }
    wanted.group = group->get<std::int64_t>();
    wanted.is_selection = true;
    return;
  }
  const auto numbers =
      alarms->is_string() ? parse_numbers(alarms->get<std::string>(), fleet::kMostActedUpon) : std::nullopt;
  if (!numbers) {
    throw BadParameter(
        "The member 'alarms' is no list of at most 10,000 ids of alarms, such as \"3,+4\", where +4 counts on from the "
        "one before it");
  }
  wanted.alarms = *numbers;
}

fleet::ActionWanted read_action(const json& action, const Caller& caller) {
  expect_members(action);
  fleet::ActionWanted wanted;
  wanted.kind = read_kind(action);
  const auto selection = action.find("selection");
  if (selection != action.end()) {
    if (!selection->is_boolean()) throw BadParameter("The member 'selection' is neither true nor false");
    wanted.is_selection = selection->get<bool>();
  }
  read_alarms(action, wanted);
  wanted.comment = read_comment(action, wanted.kind);
  wanted.lasts = read_for(action, wanted.kind);
  wanted.expires = read_expiry(action, std::time(nullptr));
  wanted.person = caller.name;
  return wanted;
}

Response ask_for(FleetSite& site, const Request& request, const Caller& caller) {
  if (!caller.may_act() || caller.name.empty()) {
    return problem(403, caller.name.empty()
                            ? "Only operators may act on alarms, and nobody has logged in. Without --users only some "
                              "users of this machine are operators, at a Unix socket."
                            : "Only operators may act on alarms; log in as one.");
  }
  if (!request.header("content-type").starts_with("application/json")) {
    return problem(415, "An action is sent as application/json.");
  }
  const json action = parse_object(request.body);
  if (action.is_null()) {
    return problem(400, R"(The body is no JSON object, such as {"do":"acknowledge","alarms":"3"}.)");
  }
  const fleet::ActionWanted wanted = read_action(action, caller);
  const fleet::ActionsAsked asked =
      site.asking.write([&wanted](pqxx::transaction_base& transaction) { return fleet::ask_for(transaction, wanted); });
  engine::JsonArray list;
  std::set<std::pair<std::string, std::string>> controllers;
  for (const fleet::AskedAction& one : asked.actions) {
    list.add(asked_form(one));
    controllers.emplace(one.site, one.controller);
  }
  engine::JsonObject body;
  body.add("alarms", asked.alarms)
      .add("left_out", asked.left_out)
      .add("controllers", controllers.size())
      .add("expires", engine::format_moment(wanted.expires))
      .add("actions", list);
  return {.status = 202,
          .headers = {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}},
          .body = std::make_shared<const std::string>(body.line())};
}

Response list(FleetSite& site, const Request& request) {
  const Parameters parameters(request.target, {"id", "site", "controller", "state", "before", "limit"});
  fleet::AskedWanted wanted;
  if (const std::string id = parameters.text("id"); !id.empty()) {
    wanted.number = fleet::parse_action_id(id);
    if (!wanted.number) throw BadParameter("The parameter 'id' is no id of an action, such as fleet-17");
  }
  wanted.site = parameters.name("site");
  wanted.controller = parameters.name("controller");
  wanted.state = parameters.text("state");
  constexpr std::array<std::string_view, 5> kStates = {"", "waiting", "done", "refused", "expired"};
  if (std::find(kStates.begin(), kStates.end(), wanted.state) == kStates.end()) {
    throw BadParameter("The parameter 'state' may be waiting, done, refused or expired");
  }
  wanted.before = parameters.number("before", 1, kMostNumbered);
  wanted.limit = parameters.limit(1000);
  const auto actions = site.asking.ask(
      [&wanted](pqxx::transaction_base& transaction) { return fleet::read_asked(transaction, wanted); });
  engine::JsonArray forms;
  for (const fleet::AskedAction& action : actions) forms.add(asked_form(action));
  return json_content(request, engine::JsonObject().add("actions", forms).line());
}

}  // namespace

Response answer_fleet_action(FleetSite& site, const Request& request, const Caller& caller) {
  if (is_question(request)) return list(site, request);
  if (request.method != Method::kPost) return not_allowed("GET, HEAD, POST");
  try {
    return ask_for(site, request, caller);
  } catch (const fleet::NotAsked& error) {
    return problem(409, std::string(error.what()) + ".");
  }
}

}  // namespace polaiga::web
