#include "fleet_api/fleet_api.h"

#include <algorithm>

#include "base/quantities.h"
#include "fleet_api/fleet_actions.h"
#include "fleet_api/fleet_forms.h"
#include "fleet_api/parameters.h"
#include "http/answers.h"
#include "http/letters.h"

namespace polaiga::web {
namespace {

using engine::JsonArray;
using engine::JsonObject;

constexpr std::int64_t kMostControllers = 10'000;
constexpr std::int64_t kMostAlarms = 1000;

Response nothing_here() { return problem(404, "There is nothing at this address."); }

// A whole number in the path.
std::optional<std::int64_t> number_in_path(const std::string& text) {
  const auto number = engine::parse_whole_number(text);
  return number && *number > 0 && *number <= kMostNumbered ? number : std::nullopt;
}

JsonArray alarm_forms(const std::vector<fleet::AlarmRow>& alarms) {
  JsonArray forms;
  for (const fleet::AlarmRow& alarm : alarms) forms.add(alarm_form(alarm));
  return forms;
}

}  // namespace

Response FleetApi::answer(const Request& request, const Caller& caller) {
  const std::vector<std::string>& path = request.target.path;
  if (path.size() < 3 || path[1] != "v1") return nothing_here();
  const bool is_about_caller = path[2] == "me" && path.size() == 3;  // also for whoever has to log in first
  if (!caller.may_see() && !is_about_caller) return problem(401, "Log in first.");
  try {
    if (path[2] == "actions" && path.size() == 3) return answer_fleet_action(site_, request, caller);
    if (!is_question(request)) return not_allowed("GET, HEAD");
    return route(request, caller);
  } catch (const BadParameter& bad) {
    return problem(400, std::string(bad.what()) + ".");
  } catch (const std::runtime_error&) {
    return database_problem(site_.asking);
  }
}

Response FleetApi::route(const Request& request, const Caller& caller) {
  const std::vector<std::string>& path = request.target.path;
  const std::string& what = path[2];
  if (what == "alarms" && path.size() == 4) return alarm(request, path[3]);
  if (what == "groups" && path.size() == 4) return group(request, path[3]);
  if (path.size() != 3) return nothing_here();
  if (what == "sites") return sites(request);
  if (what == "controllers") return controllers(request);
  if (what == "alarms") return alarms(request);
  if (what == "history") return history(request);
  if (what == "changes") return changes(request);
  if (what == "groups") return groups(request);
  if (what == "collectors") return collectors(request);
  if (what == "status") return status(request);
  if (what == "me") return me(request, caller);
  if (what == "openapi.json") return description(request);
  return nothing_here();
}

Response FleetApi::sites(const Request& request) {
  const Parameters parameters(request.target, {});
  const auto overview = site_.picture.now();
  JsonArray list;
  for (const fleet::SiteRow& site : overview->sites) list.add(site_form(site));
  return json_content(request, JsonObject().add("sites", list).line());
}

Response FleetApi::controllers(const Request& request) {
  const Parameters parameters(request.target, {"site", "severity", "silent", "behind", "text", "limit", "skip"});
  const std::string site = parameters.name("site");
  const auto least = parameters.severity();
  const bool is_silent = parameters.flag("silent");
  const bool is_behind = parameters.flag("behind");
  const std::string text = parameters.text("text");
  const std::int64_t limit = parameters.limit(kMostControllers, kMostAlarms);
  const std::int64_t skip = parameters.number("skip", 0, kMostSkipped).value_or(0);
  const auto overview = site_.picture.now();
  JsonArray list;
  std::int64_t found = 0;
  for (const fleet::ControllerRow& one : overview->controllers) {
    if (!site.empty() && one.site != site) continue;
    if (least && one.counts.worst() < *least) continue;
    if ((is_silent && !one.silent_since) || (is_behind && one.behind() == 0)) continue;
    if (!contains_in_any_case(one.name, text)) continue;
    if (++found <= skip || found > skip + limit) continue;
    list.add(controller_form(one));
  }
  return json_content(request, JsonObject().add("found", found).add("controllers", list).line());
}

Response FleetApi::alarms(const Request& request) {
  const Parameters parameters(request.target, {"site", "controller", "severity", "state", "unacknowledged", "shelved",
                                               "all", "text", "group", "order", "limit", "skip"});
  const fleet::AlarmFilter filter = read_alarm_filter(parameters);
  const std::string order = parameters.text("order");
  if (!order.empty() && order != "newest" && order != "worst") {
    throw BadParameter("The parameter 'order' may be newest or worst");
  }
  const std::int64_t limit = parameters.limit(kMostAlarms);
  const std::int64_t skip = parameters.number("skip", 0, kMostSkipped).value_or(0);
  const auto active = site_.asking.ask([&](pqxx::transaction_base& transaction) {
    return fleet::read_active(transaction, filter,
                              order == "worst" ? fleet::AlarmOrder::kWorst : fleet::AlarmOrder::kNewest, limit, skip);
  });
  JsonObject body;
  body.add("counts", counts_form(site_.picture.now(Picture::kLately)->counts)).add("found", active.found);
  if (active.is_more) body.add("found_more", true);
  return json_content(request, body.add("alarms", alarm_forms(active.rows)).line());
}

Response FleetApi::alarm(const Request& request, const std::string& name) {
  const Parameters parameters(request.target, {});
  constexpr std::int64_t kMostSteps = 200;
  const std::size_t dash = name.rfind('-');
  const bool is_named_by_ledger = dash != std::string::npos;
  const auto number = number_in_path(is_named_by_ledger ? name.substr(dash + 1) : name);
  if (!number) return problem(404, "There is no alarm of this name.");
  return site_.asking.ask([&](pqxx::transaction_base& transaction) {
    const auto alarm = is_named_by_ledger ? fleet::read_alarm(transaction, name.substr(0, dash), *number)
                                          : fleet::read_alarm(transaction, *number);
    if (!alarm) return problem(404, "There is no alarm of this name, or it is not kept any more.");
    JsonArray steps;
    for (const fleet::AlarmStep& step : fleet::read_steps(transaction, *alarm, kMostSteps)) steps.add(step_form(step));
    return json_content(request, alarm_form(*alarm).add("changes", steps).line());
  });
}

Response FleetApi::history(const Request& request) {
  const Parameters parameters(request.target, {"site", "controller", "fault_dn", "group", "before", "limit"});
  fleet::HistoryWanted wanted{.site = parameters.name("site"),
                              .controller = parameters.name("controller"),
                              .fault_dn = parameters.text("fault_dn"),
                              .group = parameters.number("group", 1, kMostNumbered),
                              .before = parameters.number("before", 1, kMostNumbered),
                              .limit = std::max<std::int64_t>(1, parameters.limit(kMostAlarms))};
  if (!wanted.fault_dn.empty() && wanted.controller.empty()) {
    throw BadParameter("The parameter 'fault_dn' wants 'controller' beside it");
  }
  std::vector<fleet::AlarmRow> alarms = site_.asking.ask(
      [&wanted](pqxx::transaction_base& transaction) { return fleet::read_history(transaction, wanted); });
  std::reverse(alarms.begin(), alarms.end());
  JsonObject body;
  if (std::ssize(alarms) == wanted.limit) {
    std::string next = "/api/v1/history?before=" + std::to_string(alarms.front().id);
    for (const auto& [name, value] : request.target.query) {
      if (name != "before") next += "&" + name + "=" + percent_encoded(value);
    }
    body.add("next", next);
  }
  return json_content(request, body.add("alarms", alarm_forms(alarms)).line());
}

Response FleetApi::changes(const Request& request) {
  const Parameters parameters(request.target, {"site", "controller", "after", "limit"});
  const std::string site = parameters.name("site");
  const std::string controller = parameters.name("controller");
  const auto after = parameters.number("after", 0, kMostNumbered);
  if (site.empty() || controller.empty() || !after) {
    throw BadParameter(
        "Changes are those of one controller: the parameters 'site', 'controller' and 'after' are wanted");
  }
  const std::int64_t limit = std::max<std::int64_t>(1, parameters.limit(kMostAlarms));
  const auto read = site_.asking.ask([&](pqxx::transaction_base& transaction) {
    return fleet::read_changes(transaction, site, controller, *after, limit);
  });
  if (read.ledger_id.empty()) return problem(404, "There is no such controller, or no ledger of it is known yet.");
  JsonObject body;
  body.add("site", site).add("controller", controller).add("ledger_id", read.ledger_id).add("through", read.through);
  std::string text = body.text();
  text.pop_back();
  text += ",\"changes\":[";
  for (std::size_t i = 0; i < read.bodies.size(); ++i) text.append(i == 0 ? "" : ",").append(read.bodies[i]);
  return json_content(request, text + "]}\n");
}

Response FleetApi::groups(const Request& request) {
  const Parameters parameters(request.target, {"site", "active", "before", "limit"});
  const fleet::GroupsWanted wanted{.site = parameters.name("site"),
                                   .number = {},
                                   .before = parameters.number("before", 1, kMostNumbered),
                                   .is_active_only = parameters.flag("active"),
                                   .limit = parameters.limit(fleet::kGroupsLookedAt)};
  const auto found = site_.asking.ask(
      [&wanted](pqxx::transaction_base& transaction) { return fleet::read_groups(transaction, wanted); });
  JsonArray list;
  for (const fleet::GroupRow& group : found) list.add(group_form(group));
  return json_content(request, JsonObject().add("groups", list).line());
}

Response FleetApi::group(const Request& request, const std::string& name) {
  const Parameters parameters(request.target, {"limit"});
  const auto number = number_in_path(name);
  if (!number) return problem(404, "There is no such group.");
  const std::int64_t limit = std::max<std::int64_t>(1, parameters.limit(kMostAlarms, kMostAlarms));
  return site_.asking.ask([&](pqxx::transaction_base& transaction) {
    const auto found = fleet::read_groups(transaction, {.site = {}, .number = number, .before = {}});
    if (found.empty()) return problem(404, "There is no such group.");
    const auto alarms = fleet::read_history(
        transaction, {.site = {}, .controller = {}, .fault_dn = {}, .group = number, .before = {}, .limit = limit});
    JsonObject body;
    body.add_members_of(group_form(found.front())).add("members", alarm_forms(alarms));
    return json_content(request, body.line());
  });
}

Response FleetApi::collectors(const Request& request) {
  const Parameters parameters(request.target, {});
  JsonArray list;
  for (const fleet::CollectorRow& one : site_.picture.now()->collectors) list.add(collector_form(one));
  return json_content(request, JsonObject().add("collectors", list).line());
}

Response FleetApi::status(const Request& request) {
  const Parameters parameters(request.target, {});
  const auto overview = site_.picture.now();
  std::uint64_t behind = 0;
  std::uint64_t dead_letters = 0;
  for (const fleet::SiteRow& site : overview->sites) behind += site.behind;
  for (const fleet::CollectorRow& one : overview->collectors) dead_letters += one.dead_letters;
  JsonObject body;
  body.add("version", POLAIGA_VERSION)
      .add("sites", overview->sites.size())
      .add("controllers", overview->controllers.size())
      .add("silent", overview->silent)
      .add("collectors", overview->collectors.size())
      .add("behind", behind)
      .add("dead_letters", dead_letters)
      .add("worst", engine::severity_word(overview->counts.worst()))
      .add("counts", counts_form(overview->counts))
      .add("unacknowledged", overview->counts.unacknowledged)
      .add("silenced", overview->counts.silenced);
  return json_content(request, body.line());
}

Response FleetApi::me(const Request& request, const Caller& caller) const {
  const Parameters parameters(request.target, {});
  JsonObject body;
  body.add("name", caller.name).add("role", role_name(caller.role));
  if (const auto token = site_.gate.csrf(request)) body.add("csrf", *token);
  Response response = json_content(request, body.line());
  response.headers.emplace_back("Vary", "Cookie, Authorization");
  return response;
}

Response FleetApi::description(const Request& request) const {
  const Parameters parameters(request.target, {});
  return content(request, description_, "application/json");
}

}  // namespace polaiga::web
