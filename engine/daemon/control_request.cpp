#include "daemon/control_request.h"

#include <algorithm>
#include <initializer_list>
#include <nlohmann/json.hpp>

#include "base/printable.h"

namespace polaiga::engine {
namespace {

using nlohmann::json;

constexpr std::size_t kLongestName = 32;

json parse(std::string_view line) {
  constexpr int kDeepest = 1;  // a request is flat; deeper ones are refused before they take memory
  bool too_deep = false;
  std::size_t members = 0;
  const auto is_flat = [&](int depth, json::parse_event_t event, const json& /*value*/) {
    too_deep = too_deep || depth > kDeepest;
    if (event == json::parse_event_t::key) ++members;
    return !too_deep;
  };
  try {
    json request = json::parse(line, is_flat);
    if (too_deep || !request.is_object()) throw BadRequest("The request is not a flat JSON object");
    if (request.size() != members) throw BadRequest("A member of the request comes twice");
    return request;
  } catch (const json::exception&) {
    throw BadRequest("The request is not JSON");
  }
}

const json& member(const json& request, const char* name) {
  const auto found = request.find(name);
  if (found == request.end()) throw BadRequest("The request has no member " + in_quotes(name));
  return *found;
}

std::string text_member(const json& request, const char* name) {
  const json& value = member(request, name);
  if (!value.is_string()) throw BadRequest("The member " + in_quotes(name) + " must be a text");
  return value.get<std::string>();
}

std::string publisher_of(const json& request) {
  std::string name = text_member(request, "publisher");
  const auto may_stand = [](char c) {
    return ('a' <= c && c <= 'z') || ('0' <= c && c <= '9') || c == '-' || c == '_' || c == '.';
  };
  if (name.empty() || name.size() > kLongestName || !std::ranges::all_of(name, may_stand)) {
    throw BadRequest("The publisher is " + in_quotes(name) + "; its name has 1 to " + std::to_string(kLongestName) +
                     " of the characters a-z, 0-9, '-', '_' and '.'");
  }
  return name;
}

ChangeNumber through_of(const json& request) {
  const json& value = member(request, "through");
  const bool fits = value.is_number_unsigned() && value.get<std::uint64_t>() <= std::uint64_t{INT64_MAX};
  if (!fits) throw BadRequest("The member 'through' must be the number of a change, or 0");
  return value.get<ChangeNumber>();
}

void expect_only(const json& request, std::initializer_list<std::string_view> names) {
  for (const auto& [name, value] : request.items()) {
    if (std::ranges::find(names, name) == names.end()) {
      throw BadRequest("The member " + in_quotes(name) + " is not known in this request");
    }
  }
}

}  // namespace

ControlRequest parse_control_request(std::string_view line) {
  const json request = parse(line);
  const std::string what = text_member(request, "do");
  if (what == "status") {
    expect_only(request, {"do"});
    return StatusRequest{};
  }
  if (what == "cursor") {
    expect_only(request, {"do", "publisher", "through"});
    return CursorRequest{publisher_of(request), through_of(request)};
  }
  if (what == "forget") {
    expect_only(request, {"do", "publisher"});
    return ForgetRequest{publisher_of(request)};
  }
  throw BadRequest("The request 'do' is " + in_quotes(what) + "; it may be 'status', 'cursor' or 'forget'");
}

}  // namespace polaiga::engine
