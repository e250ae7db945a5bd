#include "restconf/restconf.h"

#include <nlohmann/json.hpp>

#include "app/program.h"
#include "http/answers.h"
#include "report/json_object.h"

namespace polaiga::web {
namespace {

using engine::JsonArray;
using engine::JsonObject;

constexpr std::string_view kType = "application/yang-data+json";
constexpr std::string_view kModule = "ietf-alarms:";

// An error as RFC 8040, section 7.1 has it.
Response error(int status, std::string_view tag, std::string_view message) {
  JsonObject one;
  one.add("error-type", "application").add("error-tag", tag).add("error-message", message);
  JsonObject body;
  body.add("ietf-restconf:errors", JsonObject().add("error", JsonArray().add(one)));
  return {.status = status,
          .headers = {{"Content-Type", std::string(kType)}, {"Cache-Control", "no-store"}},
          .body = std::make_shared<const std::string>(body.line())};
}

Response yang_data(const Request& request, std::string text) {
  return content(request, std::make_shared<const std::string>(std::move(text)), kType);
}

// The path of a container below the module's top container, as in "alarm-list". Its name may have the module before it.
std::string_view plain_name(std::string_view segment) {
  return segment.starts_with(kModule) ? segment.substr(kModule.size()) : segment;
}

}  // namespace

Body Restconf::alarms() {
  const auto view = site_.live.view();
  const std::lock_guard lock(mutex_);
  if (alarms_ && view && view->version == version_) return alarms_;
  ProgramAnswer said = run_program({site_.program, "active", "--rfc8632", "--ledger", site_.ledger});
  if (said.output.empty() || said.status > 1) throw ProgramFailed("The alarms cannot be read: " + said.complaint);
  alarms_ = std::make_shared<const std::string>(std::move(said.output));
  version_ = view ? view->version : 0;
  return alarms_;
}

Response Restconf::answer(const Request& request, const Caller& caller) {
  const std::vector<std::string>& path = request.target.path;
  if (!caller.may_see()) return error(401, "access-denied", "Log in first.");
  if (!is_question(request)) {
    Response response = error(405, "operation-not-supported", "The alarms can only be read here.");
    response.headers.emplace_back("Allow", "GET, HEAD");
    return response;
  }
  if (!request.target.query.empty()) return error(400, "invalid-value", "Query parameters are not supported here.");
  if (path.size() == 1) {
    return yang_data(request,
                     R"({"ietf-restconf:restconf":{"data":{},"operations":{},"yang-library-version":"2019-01-04"}})"
                     "\n");
  }
  if (path.size() == 2 && path[1] == "yang-library-version") {
    return yang_data(request, "{\"ietf-restconf:yang-library-version\":\"2019-01-04\"}\n");
  }
  if (path.size() < 3 || path[1] != "data" || path[2] != "ietf-alarms:alarms") {
    return error(404, "invalid-value", "There is nothing at this address; there is /restconf/data/ietf-alarms:alarms.");
  }
  try {
    const Body whole = alarms();
    if (path.size() == 3) return content(request, whole, kType);
    const nlohmann::json document = nlohmann::json::parse(*whole);
    const nlohmann::json* found = &document.at("ietf-alarms:alarms");
    for (std::size_t i = 3; i < path.size(); ++i) {
      const auto next = found->find(plain_name(path[i]));
      if (next == found->end() || !next->is_object()) {
        return error(404, "invalid-value", "The module ietf-alarms has no such container, or it is empty.");
      }
      found = &*next;
    }
    const nlohmann::json one = {{std::string(kModule) + std::string(plain_name(path.back())), *found}};
    return yang_data(request, one.dump() + "\n");
  } catch (const ProgramFailed& failed) {
    return error(503, "operation-failed", std::string(failed.what()) + ".");
  }
}

Response HostMeta::answer(const Request& request, const Caller& /*caller*/) {
  if (!is_question(request)) return not_allowed("GET, HEAD");
  if (request.target.path != std::vector<std::string>{".well-known", "host-meta"}) {
    return problem(404, "There is nothing at this address.");
  }
  static const Body kLinks = std::make_shared<const std::string>(
      "<XRD xmlns='http://docs.oasis-open.org/ns/xri/xrd-1.0'>\n  <Link rel='restconf' href='/restconf'/>\n</XRD>\n");
  return content(request, kLinks, "application/xrd+xml");
}

}  // namespace polaiga::web
