#include "web_texts.h"

#include <nettle/base64.h>

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "access/basic_credentials.h"
#include "access/cookies.h"
#include "access/login_request.h"
#include "access/names.h"
#include "access/origin.h"
#include "api/alarm_parameters.h"
#include "check.h"
#include "page/choice.h"
#include "redfish/errors.h"
#include "redfish/push_addresses.h"
#include "redfish/request_body.h"
#include "redfish/resource.h"
#include "redfish/subscription.h"
#include "redfish/test_event.h"
#include "report/json_text.h"

namespace polaiga::fuzz {
namespace {

using namespace web;

constexpr const char* kForm = "application/x-www-form-urlencoded";
constexpr const char* kJson = "application/json";

void check_basic(std::string_view header) {
  const auto read = parse_basic(header);
  if (!read) return;
  check(is_user_name(read->name), "a name is one that a user may have");
  check(is_password(read->password.view()), "a password is one that a user may have");
  const std::string plain = read->name + ":" + std::string(read->password.view());
  std::string again(BASE64_ENCODE_RAW_LENGTH(plain.size()), '\0');
  base64_encode_raw(again.data(), plain.size(), reinterpret_cast<const std::uint8_t*>(plain.data()));
  check(header.substr(header.find(' ') + 1) == again, "credentials are written in one way alone");
}

void check_form(std::string_view body) {
  const auto read = parse_login(kForm, body);
  const auto token = find_form_field(kForm, body, "csrf");
  check(!read || !token, "who logs in has no token");
  if (!read) return;
  check(read->is_form && !read->name.empty() && !read->password.view().empty(), "a login has a name and a password");
  std::string again = "name=" + percent_encoded(read->name) + "&password=" + percent_encoded(read->password.view());
  if (!read->next.empty()) again += "&next=" + percent_encoded(read->next);
  if (again.size() > 4000) return;  // longer than a form may be
  const auto second = parse_login(kForm, again);
  check(second && second->name == read->name && second->password.view() == read->password.view() &&
            second->next == read->next,
        "a login reads the same when it is written again");
}

void check_json(std::string_view body) {
  const auto read = parse_login(kJson, body);
  if (!read) return;
  check(!read->is_form && read->next.empty(), "JSON leads nowhere");
  const nlohmann::json again = {{"name", read->name}, {"password", std::string(read->password.view())}};
  check(nlohmann::json::parse(body) == again, "JSON has a name and a password and nothing else");
}

void check_cookie(std::string_view header) {
  constexpr const char* kName = "polaiga-session";
  const auto value = find_cookie(header, kName);
  if (!value) return;
  check(value->find_first_of(" ;,\"\\") == std::string_view::npos, "a value has no separators");
  check(is_printable(*value), "and no control characters");
  const std::string again = std::string(kName) + "=" + std::string(*value);
  check(header.find(again) != std::string_view::npos, "a value stands behind its name");
  check(find_cookie(again, kName) == value, "a cookie reads the same when it is written again");
  check(!find_cookie(again + "; " + std::string(header), kName), "a cookie that is there twice is nothing");
}

void check_return(std::string_view next) {
  const std::string address = return_address(next);
  check(address.starts_with('/') && !address.starts_with("//") && !address.starts_with("/\\"), "an address is of here");
  check(is_printable(address) && address.find(' ') == std::string::npos, "an address can stand in a header");
  check(return_address(address) == address, "an address stays when it is read again");
}

void check_origin(std::string_view origin) {
  if (origin.empty()) return;
  const bool is_other = is_from_other_site(origin, "", "alarms.example:8443");
  check(is_other || (origin.size() > 7 && origin.ends_with(":8443")), "another host is another site");
}

void check_refusal(const Refusal& refusal) {
  const Response response = refusal_response(refusal);
  check(response.status >= 400, "a refusal is an error");
  check(nlohmann::json::accept(*response.body), "a refusal is JSON");
}

// Calls what refuses a query with such an error, and answers whether it took it.
template <class Error, class Read>
bool takes(Read read) {
  try {
    read();
    return true;
  } catch (const Error& error) {
    check(error.what()[0] != '\0' && is_printable(error.what()), "a refusal says something that can be shown");
    return false;
  }
}

}  // namespace

void check_target(std::string_view text) {
  Target target;
  if (!takes<BadTarget>([&] { target = parse_target(text); })) return;
  check(text.size() <= Target::kMostBytes && target.query.size() <= Target::kMostParameters, "an address has limits");
  check(!target.path.empty(), "an address has a path");
  for (const std::string& segment : target.path) {
    check(segment != "." && segment != ".." && is_printable(segment), "a path leads nowhere else");
  }
  for (const auto& [name, value] : target.query) {
    check(!name.empty() && is_printable(name) && is_printable(value), "a query can be shown");
    check(std::ranges::count(target.query, name, &std::pair<std::string, std::string>::first) == 1,
          "a parameter comes once");
  }
  const std::string again = target_text(target);
  if (again.size() > Target::kMostBytes) return;  // what was escaped is longer
  const Target second = parse_target(again);
  check(second.path == target.path && second.query == target.query, "an address reads the same when written again");
}

void check_credentials(const Request& request) {
  check_basic(request.header("authorization"));
  check_cookie(request.header("cookie"));
  check_origin(request.header("origin"));
  check_form(request.body);
  check_json(request.body);
  check_return(request.target.find("next").value_or("/"));
}

void check_queries(const Target& target) {
  takes<BadQuery>([&] {
    const AlarmQuery query = read_alarm_query(target);
    check(query.limit <= 10'000 && query.skip <= 1'000'000, "a list has limits");
    check(target.find("text").value_or("") == query.text, "a text is searched for as it is");
  });
  takes<BadQuery>([&] {
    const auto number = number_parameter(target, "limit", 0, 1000);
    check(!number || (*number >= 0 && *number <= 1000), "a number has limits");
    check(!number || target.find("limit")->ends_with(std::to_string(*number)), "a number is read as it is written");
  });
  takes<Refusal>([&] {
    const MemberRange range = read_member_range(target);
    check(range.top <= MemberRange::kMost && range.skip <= 1'000'000'000, "a range has limits");
  });
  const Choice choice = read_choice(target);
  const Target again{.path = {""},
                     .query = {{"text", choice.text},
                               {"severity", choice.severity},
                               {"state", choice.state},
                               {"under", choice.under},
                               {"order", choice.order},
                               {"skip", std::to_string(choice.skip)}}};
  const Choice second = read_choice(again);
  check(second.text == choice.text && second.severity == choice.severity && second.state == choice.state &&
            second.under == choice.under && second.order == choice.order && second.skip == choice.skip,
        "a choice reads the same when it is written again");
}

void check_subscription(std::string_view body) {
  Subscription read;
  try {
    read = parse_subscription(body);
  } catch (const Refusal& refusal) {
    return check_refusal(refusal);
  }
  check(body.size() <= kMostBodyBytes, "a body is bounded");
  const auto host = destination_host(read.destination);
  check(host && !host->empty(), "the address has a host");
  check(is_printable(why_not_pushed_to(*host)), "why an address is refused can be shown");
  check(read.destination.starts_with("http://") || read.destination.starts_with("https://"),
        "the address is one of HTTP");
  for (const auto& [name, value] : read.headers) {
    check(!name.empty() && (name + value).find_first_of("\r\n") == std::string::npos, "a header ends in its line");
  }
  check(stored_form(read_stored(stored_form(read))) == stored_form(read), "a subscription is stored as it is");
}

void check_test_event(std::string_view body) {
  try {
    const EventRecord event = parse_test_event(body);
    check(engine::json_text(event.json).find('\n') == std::string::npos, "an event is one line");
  } catch (const Refusal& refusal) {
    check_refusal(refusal);
  }
}

}  // namespace polaiga::fuzz
