#include "api/actions.h"

#include <nlohmann/json.hpp>

#include "http/answers.h"
#include "model/operator_action.h"

namespace polaiga::web {
namespace {

using nlohmann::json;

constexpr int kDeepest = 3;

// Nothing when it is no JSON object. What is nested more deeply than any request is left out of it, so that the object
// can be written anew without deep recursion.
json parse_object(const std::string& text) {
  const json parsed = json::parse(
      text, [](int depth, json::parse_event_t /*event*/, json& /*value*/) { return depth <= kDeepest; }, false);
  return parsed.is_object() ? parsed : json();
}

}  // namespace

Response answer_action(Site& site, const Request& request, const Caller& caller) {
  if (request.method != Method::kPost) return not_allowed("POST");
  if (!caller.may_act()) {
    return problem(403, caller.name.empty()
                            ? "Only operators may act on alarms, and nobody has logged in. Without --users only some "
                              "users of this machine are operators, at a Unix socket."
                            : "Only operators may act on alarms; log in as one.");
  }
  if (!request.header("content-type").starts_with("application/json")) {
    return problem(415, "An action is sent as application/json.");
  }
  json action = parse_object(request.body);
  if (action.is_null())
    return problem(400, R"(The body is no JSON object, such as {"do":"acknowledge","alarms":"3"}.)");
  const auto what = action.find("do");
  if (what == action.end() || !what->is_string() || !engine::find_action(what->get<std::string>())) {
    return problem(400, "The member 'do' is not the name of an action, such as acknowledge.");
  }
  if (action.contains("on_behalf_of")) {
    return problem(400, "The member 'on_behalf_of' is not taken: an action is that of the caller.");
  }
  action["on_behalf_of"] = caller.name;
  json told;
  try {
    told = json::parse(site.engine.ask(action.dump()), nullptr, false);
  } catch (const std::exception& error) {
    return problem(503, std::string(error.what()) + ".");
  }
  const auto error = told.find("error");
  if (error != told.end() && error->is_string()) return problem(409, error->get<std::string>() + ".");
  if (!told.contains("seq")) {
    return problem(503,
                   "The engine's answer is not understood, so it is not known whether the action was done. Look at the "
                   "alarms; an action with an 'id' may be sent again.");
  }
  return {.headers = {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}},
          .body = std::make_shared<const std::string>(told.dump() + "\n")};
}

}  // namespace polaiga::web
