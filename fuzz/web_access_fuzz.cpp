// Whatever a stranger sends to log in: what is read of it is within its limits, reads the same when it is written
// again, and leads a browser to no other host. The first byte of the input says what it is, as its digit does: 0 the
// header Authorization, 1 a form, 2 JSON, 3 the header Cookie, 4 where to go after a login, 5 the header Origin.
#include <nettle/base64.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "access/basic_credentials.h"
#include "access/cookies.h"
#include "access/login_request.h"
#include "access/names.h"
#include "access/origin.h"
#include "check.h"
#include "http/target.h"

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
  const auto second = again.size() > 4000 ? std::nullopt : parse_login(kForm, again);
  check(again.size() > 4000 || (second && second->name == read->name &&
                                second->password.view() == read->password.view() && second->next == read->next),
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
  const auto value = find_cookie(header, "s");
  if (!value) return;
  check(value->find_first_of(" ;,\"\\") == std::string_view::npos, "a value has no separators");
  check(is_printable(*value), "and no control characters");
  const std::string again = "s=" + std::string(*value);
  check(header.find(again) != std::string_view::npos, "a value stands behind its name");
  check(find_cookie(again, "s") == value, "a cookie reads the same when it is written again");
  check(!find_cookie(again + "; " + std::string(header), "s"), "a cookie that is there twice is nothing");
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

}  // namespace
}  // namespace polaiga::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace polaiga::fuzz;
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0] % 6) {
    case 0:
      check_basic(text);
      break;
    case 1:
      check_form(text);
      break;
    case 2:
      check_json(text);
      break;
    case 3:
      check_cookie(text);
      break;
    case 4:
      check_return(text);
      break;
    default:
      check_origin(text);
  }
  return 0;
}
