// The page where a person logs in. It needs no script.
#pragma once

#include <string>
#include <string_view>

namespace polaiga::web {

struct LoginPage {
  std::string name = {};     // as it was typed before
  std::string next = "/";    // where to go then
  std::string problem = {};  // why the login before did not work; empty: there was none
};

std::string login_page(const LoginPage& page);

// Its style sheet, which is served at /login.css.
std::string_view login_style();

}  // namespace polaiga::web
