#include "access/login_request.h"

#include <strings.h>

#include <nlohmann/json.hpp>

#include "http/target.h"

namespace polaiga::web {
namespace {

constexpr std::size_t kMostBodyBytes = 4000;
constexpr std::size_t kMostReturnBytes = 1000;

// The type may have parameters, such as a charset.
bool is_type(std::string_view header, std::string_view type) {
  std::string_view plain = header.substr(0, header.find(';'));
  while (plain.ends_with(' ')) plain.remove_suffix(1);
  return plain.size() == type.size() && ::strncasecmp(plain.data(), type.data(), type.size()) == 0;
}

bool is_form(std::string_view content_type) { return is_type(content_type, "application/x-www-form-urlencoded"); }

// The fields of a form are written as a query is.
std::optional<Target> form_fields(std::string_view body) {
  if (body.size() > kMostBodyBytes) return std::nullopt;
  std::string query = "/?";
  query += body;
  const Secret address(std::move(query));
  try {
    return parse_target(address.view());
  } catch (const BadTarget&) {
    return std::nullopt;
  }
}

std::optional<LoginRequest> parse_form(std::string_view body) {
  auto fields = form_fields(body);
  if (!fields) return std::nullopt;
  LoginRequest login{.name = {}, .password = {}, .next = {}, .is_form = true};
  bool is_known = true;
  for (auto& [name, value] : fields->query) {
    if (name == "name") {
      login.name = value;
    } else if (name == "password") {
      login.password = Secret(std::move(value));
    } else if (name == "next") {
      login.next = value;
    } else {
      is_known = false;
    }
  }
  if (!is_known || login.name.empty() || login.password.view().empty()) return std::nullopt;
  return login;
}

std::optional<LoginRequest> parse_json(std::string_view body) {
  if (body.size() > kMostBodyBytes) return std::nullopt;
  nlohmann::json json = nlohmann::json::parse(body, nullptr, false);
  if (!json.is_object() || json.size() != 2) return std::nullopt;
  const auto name = json.find("name");
  const auto password = json.find("password");
  if (name == json.end() || password == json.end() || !name->is_string() || !password->is_string()) return std::nullopt;
  return LoginRequest{.name = name->get<std::string>(),
                      .password = Secret(std::move(password->get_ref<std::string&>())),
                      .next = {},
                      .is_form = false};
}

}  // namespace

std::optional<LoginRequest> parse_login(std::string_view content_type, std::string_view body) {
  if (is_form(content_type)) return parse_form(body);
  if (is_type(content_type, "application/json")) return parse_json(body);
  return std::nullopt;
}

std::optional<std::string> find_form_field(std::string_view content_type, std::string_view body,
                                           std::string_view name) {
  if (!is_form(content_type)) return std::nullopt;
  const auto fields = form_fields(body);
  const auto value = fields ? fields->find(name) : std::nullopt;
  if (!value) return std::nullopt;
  return std::string(*value);
}

std::string return_address(std::string_view next) {
  Target target;
  try {
    target = parse_target(next);
  } catch (const BadTarget&) {
    return "/";
  }
  // An address that begins with two slashes names another host.
  if (target.path.size() > 1 && target.path.front().empty()) return "/";
  if (target.path.front() == "login" || target.path.front() == "logout") return "/";
  const std::string text = target_text(target);
  return text.size() > kMostReturnBytes ? "/" : text;
}

}  // namespace polaiga::web
