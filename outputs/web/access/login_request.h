// The bodies that the gate itself reads: forms and JSON of those who log in, and the tokens in forms.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "access/secrets.h"

namespace polaiga::web {

struct LoginRequest {
  std::string name;
  Secret password;
  std::string next;  // where the browser wants to go then
  bool is_form = false;
};

// Reads application/x-www-form-urlencoded with the fields "name", "password" and perhaps "next", or application/json
// with the members "name" and "password". Nothing: it is neither, is too long, or has something else in it. Whether any
// user could have that name and password the caller finds out.
std::optional<LoginRequest> parse_login(std::string_view content_type, std::string_view body);

// The field of a form. Nothing: it has none of that name, or is no form.
std::optional<std::string> find_form_field(std::string_view content_type, std::string_view body, std::string_view name);

// Where a browser goes after a login: the address when it is one of this server's, else "/". The result is written
// anew, so that it cannot lead to another host.
std::string return_address(std::string_view next);

}  // namespace polaiga::web
