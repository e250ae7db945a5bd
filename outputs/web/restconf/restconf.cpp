#include "restconf/restconf.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>

#include "app/program.h"
#include "http/answers.h"
#include "report/json_object.h"
#include "restconf/server_data.h"

namespace polaiga::web {
namespace {

using engine::JsonArray;
using engine::JsonObject;
using nlohmann::json;
using Path = std::span<const std::string>;

constexpr std::string_view kType = "application/yang-data+json";
constexpr std::string_view kAlarms = "ietf-alarms:alarms";

// An error as RFC 8040, section 7.1 has it.
Response error(int status, std::string_view tag, std::string_view message) {
  JsonObject one;
  one.add("error-type", status == 400 || status == 405 || status == 406 ? "protocol" : "application")
      .add("error-tag", tag)
      .add("error-message", message);
  JsonObject body;
  body.add("ietf-restconf:errors", JsonObject().add("error", JsonArray().add(one)));
  return {.status = status,
          .headers = {{"Content-Type", std::string(kType)}, {"Cache-Control", "no-store"}},
          .body = std::make_shared<const std::string>(body.line())};
}

Response yang_data(const Request& request, std::string_view text) {
  return content(request, std::make_shared<const std::string>(text), kType);
}

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

// Whether the header Accept allows JSON. A range whose weight is 0 does not.
bool accepts_json(std::string_view header) {
  if (trimmed(header).empty()) return true;
  constexpr std::string_view kRanges[] = {"*/*", "application/*", kType, "application/json"};
  for (;;) {
    const std::size_t comma = header.find(',');
    const std::string_view one = header.substr(0, comma);
    const std::size_t semicolon = one.find(';');
    const bool is_meant = std::ranges::find(kRanges, trimmed(one.substr(0, semicolon))) != std::end(kRanges);
    const std::string_view weight =
        semicolon == std::string_view::npos ? std::string_view() : trimmed(one.substr(semicolon + 1));
    const bool is_refused = weight.starts_with("q=0") && weight.find_first_not_of("0.", 2) == std::string_view::npos;
    if (is_meant && !is_refused) return true;
    if (comma == std::string_view::npos) return false;
    header.remove_prefix(comma + 1);
  }
}

// Which nodes are asked for (RFC 8040, section 4.8.1).
enum class Content : std::uint8_t { kAll, kConfiguration };

// Throws the message of an error. The parameter "content" is only for the datastore, where all is state and nothing is
// configuration.
Content content_of(const Target& target, bool is_data) {
  Content wanted = Content::kAll;
  for (const auto& [name, value] : target.query) {
    if (name != "content" || !is_data) {
      throw std::invalid_argument("This query parameter is not supported here; data takes 'content' alone.");
    }
    if (value != "all" && value != "nonconfig" && value != "config") {
      throw std::invalid_argument("The parameter 'content' may be 'all', 'nonconfig' or 'config'.");
    }
    if (value == "config") wanted = Content::kConfiguration;
  }
  return wanted;
}

// A node below another one has the module of that one, which its name may have before it.
std::string with_module(const std::string& name, std::string_view module) {
  return name.find(':') == std::string::npos ? std::string(module) + ":" + name : name;
}

// The node of a path below a top node, with its name; null: there is none.
json node_at(const json& top, Path path) {
  const std::string module = path.front().substr(0, path.front().find(':'));
  const json* found = &top;
  for (const std::string& name : path.subspan(1)) {
    if (!found->is_object() || !with_module(name, module).starts_with(module + ":")) return nullptr;
    const auto next = found->find(name.substr(name.find(':') + 1));  // with npos it is the whole name
    if (next == found->end()) return nullptr;
    found = &*next;
  }
  return json::object({{with_module(path.back(), module), *found}});
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

// The tags are those of RFC 8040, section 7.
Response Restconf::refused(const Request& /*request*/, Response response) {
  const int status = response.status;
  const std::string_view tag = status == 401 || status == 403   ? "access-denied"
                               : status == 429 || status == 503 ? "resource-denied"
                               : status < 500                   ? "invalid-value"
                                                                : "operation-failed";
  Response made = error(status, tag, detail_of(response));
  for (auto& header : response.headers) {
    if (header.first != "Content-Type" && header.first != "Cache-Control") made.headers.push_back(std::move(header));
  }
  return made;
}

Response Restconf::answer(const Request& request, const Caller& caller) {
  if (!caller.may_see()) return error(401, "access-denied", "Log in first.");
  if (!is_question(request)) {
    Response response = error(405, "operation-not-supported", "The alarms can only be read here.");
    response.headers.emplace_back("Allow", "GET, HEAD");
    return response;
  }
  if (!accepts_json(request.header("accept"))) {
    return error(406, "invalid-value", "The data is there as " + std::string(kType) + " alone.");
  }
  const Path path(request.target.path);
  const bool is_data = path.size() > 1 && path[1] == "data";
  try {
    const Content wanted = content_of(request.target, is_data);
    if (path.size() == 1) return yang_data(request, kRestconfRoot);
    if (is_data) return data(request, path.subspan(2), wanted == Content::kConfiguration);
    if (path.size() == 2 && path[1] == "operations") return yang_data(request, kOperations);
    if (path.size() == 2 && path[1] == "yang-library-version") return yang_data(request, kLibraryVersion);
  } catch (const std::invalid_argument& bad) {
    return error(400, "invalid-value", bad.what());
  } catch (const ProgramFailed& failed) {
    return error(503, "operation-failed", std::string(failed.what()) + ".");
  }
  return nothing_here();
}

// The datastore, or a node of it by its path.
Response Restconf::data(const Request& request, std::span<const std::string> path, bool configuration_alone) {
  if (configuration_alone) {  // there is none: the containers that could have some are empty
    if (path.empty()) return yang_data(request, "{\"ietf-restconf:data\":{}}\n");
    if (path.size() == 1 && path.front() == kAlarms) return yang_data(request, "{\"ietf-alarms:alarms\":{}}\n");
    return nothing_here();
  }
  if (path.size() == 1 && path.front() == kAlarms) return content(request, alarms(), kType);
  json all = json::parse(kServerData);
  if (path.empty() || path.front() == kAlarms) all.update(json::parse(*alarms()));
  if (path.empty()) return yang_data(request, json::object({{"ietf-restconf:data", all}}).dump() + "\n");
  const auto top = all.find(path.front());
  if (top == all.end()) return nothing_here();
  const json node = node_at(*top, path);
  return node.is_null() ? nothing_here() : yang_data(request, node.dump() + "\n");
}

Response Restconf::nothing_here() {
  return error(404, "invalid-value",
               "There is nothing at this address, or it is empty; there is /restconf/data/ietf-alarms:alarms. Entries "
               "of lists have no addresses of their own.");
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
