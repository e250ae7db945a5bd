#include "redfish/request_body.h"

#include <algorithm>
#include <set>
#include <vector>

#include "base/printable.h"
#include "http/letters.h"
#include "redfish/errors.h"

namespace polaiga::web {

using nlohmann::json;

void expect_json(const Request& request) {
  const std::string_view header = request.header("content-type");
  std::string type = small_letters(header.substr(0, header.find(';')));
  while (type.ends_with(' ')) type.pop_back();
  if (type != "application/json" && !(type.empty() && request.body.empty())) throw Refusal(Reason::kWrongMediaType);
}

json parse_body(std::string_view body) {
  if (body.size() > kMostBodyBytes) throw Refusal(Reason::kMalformed, {}, {}, "It is too long.");
  std::vector<std::set<std::string>> names;  // of the objects that are open
  const auto look = [&names](int depth, json::parse_event_t event, json& part) {
    if (static_cast<std::size_t>(depth) > kMostBodyDepth) {
      throw Refusal(Reason::kMalformed, {}, {}, "It is too deep.");
    }
    if (event == json::parse_event_t::object_start) names.emplace_back();
    if (event == json::parse_event_t::object_end) names.pop_back();
    if (event == json::parse_event_t::key && !names.back().insert(part.get<std::string>()).second) {
      throw Refusal(Reason::kPropertyTwice, {brief(part)});
    }
    return true;
  };
  json parsed;
  try {
    parsed = json::parse(body, look);
  } catch (const json::exception&) {
    throw Refusal(Reason::kMalformed);
  }
  if (!parsed.is_object()) throw Refusal(Reason::kMalformed);
  return parsed;
}

std::string brief(const json& value) {
  constexpr std::size_t kMost = 100;
  const std::string text =
      value.is_string() ? value.get<std::string>() : value.dump(-1, ' ', true, json::error_handler_t::replace);
  return engine::printable(text.substr(0, kMost));
}

}  // namespace polaiga::web
