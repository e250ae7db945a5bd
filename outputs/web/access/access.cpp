#include "access/access.h"

#include <algorithm>
#include <array>

#include "access/basic_credentials.h"
#include "access/cookies.h"
#include "access/forwarded.h"
#include "access/login_page.h"
#include "access/names.h"
#include "access/origin.h"
#include "base/printable.h"
#include "http/answers.h"
#include "http/letters.h"
#include "http/network.h"
#include "report/json_object.h"

namespace polaiga::web {
namespace {

using engine::Priority;

constexpr const char* kWrong = "The name or the password is wrong.";

bool is_path(const Request& request, std::initializer_list<std::string_view> path) {
  return std::ranges::equal(request.target.path, path);
}

// Whether the request is answered to callers who have not logged in: the answer tells nothing but how to log in, or
// that nobody has logged in.
bool is_for_everybody(const Request& request) {
  if (request.method == Method::kPost) {
    return is_path(request, {"redfish", "v1", "SessionService", "Sessions"}) ||
           is_path(request, {"redfish", "v1", "SessionService", "Sessions", "Members"});
  }
  if (!is_question(request)) return false;
  return is_path(request, {"redfish"}) || is_path(request, {"redfish", ""}) || is_path(request, {"redfish", "v1"}) ||
         is_path(request, {"redfish", "v1", ""}) || is_path(request, {"redfish", "v1", "odata"}) ||
         is_path(request, {"redfish", "v1", "$metadata"}) || is_path(request, {"api", "v1", "me"}) ||
         is_path(request, {"favicon.ico"});
}

// Whether a person looks at the answer in a browser's window.
bool is_browsing(const Request& request) {
  const std::string& first = request.target.path.front();
  return is_question(request) && first != "api" && first != "redfish" && first != "restconf" && first != "metrics" &&
         request.header("accept").find("text/html") != std::string_view::npos;
}

Response redirect(const std::string& to) {
  return {.status = 303, .headers = {{"Location", to}, {"Cache-Control", "no-store"}}};
}

Response html(int status, const LoginPage& page) {
  return {.status = status,
          .headers = {{"Content-Type", "text/html; charset=utf-8"}, {"Cache-Control", "no-store"}},
          .body = std::make_shared<const std::string>(login_page(page))};
}

// Tells whether the password is still the same, without the hash.
std::string digest_of(const User& user) { return hexadecimal(sha256(user.hash)); }

std::string in_seconds(std::chrono::seconds wait) {
  return std::to_string(wait.count()) + (wait.count() == 1 ? " second." : " seconds.");
}

void add_wait(Response& response, std::chrono::seconds wait) {
  if (wait.count() > 0) response.headers.emplace_back("Retry-After", std::to_string(wait.count()));
}

// Browsers ask for a password by themselves when basic authentication is offered, and the page has a form for that.
// They say that a page makes the request, and programs do not.
void add_challenge(Response& response, const Request& request) {
  const bool is_page =
      !request.header("sec-fetch-mode").empty() || !request.header("cookie").empty() || is_path(request, {"login"});
  response.headers.emplace_back("WWW-Authenticate",
                                is_page ? R"(Session realm="polaiga")" : R"(Basic realm="polaiga", charset="UTF-8")");
}

Response unauthorized(const Request& request, std::string_view detail) {
  Response response = problem(401, detail);
  add_challenge(response, request);
  return response;
}

// For somebody who has not logged in.
Response refuse(const Request& request) {
  if (is_browsing(request))
    return redirect("/login?next=" + percent_encoded(return_address(target_text(request.target))));
  if (request.peer.certificate) {
    return unauthorized(request, "The client certificate is of " + engine::in_quotes(*request.peer.certificate) +
                                     ", which is no user here.");
  }
  return unauthorized(request, "Log in first: with a name and password, a session, or a client certificate.");
}

}  // namespace

Access::Access(AccessOptions options, const engine::Clock& clock, Tell tell)
    : options_(std::move(options)),
      tell_(std::move(tell)),
      unix_peers_(options_.groups, options_.lists),
      users_(std::make_shared<const Users>(has_users() ? read_users(options_.users) : Users())),
      delays_(clock),
      sessions_(clock, options_.sessions),
      verified_(clock) {
  options_.proxy_user_header = small_letters(options_.proxy_user_header);
}

void Access::reload() {
  try {
    unix_peers_.reload();
    if (!has_users()) return;
    auto users = std::make_shared<const Users>(read_users(options_.users));
    const std::size_t count = users->size();
    {
      const std::lock_guard lock(users_mutex_);
      users_ = std::move(users);
    }
    tell_(Priority::kInfo, "the users were read anew; there are " + std::to_string(count));
  } catch (const std::runtime_error& error) {
    tell_(Priority::kError, std::string(error.what()) + "; the users stay as they were");
  }
}

std::variant<Caller, Response> Access::admit(const Request& request) {
  if (!is_question(request) &&
      is_from_other_site(request.header("origin"), request.header("sec-fetch-site"), request.header("host"))) {
    return problem(403,
                   "A page of another site has made this request, so it is refused. Behind a proxy, the proxy has "
                   "to send the header Host on as it came.");
  }
  if (is_path(request, {"login.css"})) {
    return content(request, std::make_shared<const std::string>(login_style()), "text/css; charset=utf-8");
  }
  if (is_path(request, {"login"})) return answer_login(request);
  if (is_path(request, {"logout"})) return log_out(request);
  return identify(request);
}

std::optional<std::string> Access::csrf(const Request& request) {
  const auto token = session_token(request);
  if (!token || !caller_of_cookie(request)) return std::nullopt;
  return hexadecimal(csrf_.of(*token));
}

bool Access::holds(const Caller& caller) {
  if (!caller.session.empty()) {
    const auto now = caller_of_session(sessions_.find_by_id(caller.session));
    return now && now->role >= caller.role;
  }
  if (caller.proof == Proof::kNone) return true;
  if (caller.unix_user) return std::max(unix_peers_.caller(*caller.unix_user).role, least_role()) >= caller.role;
  const auto user = find_user(caller.name);
  const bool has_same_password = caller.proof != Proof::kPassword || (user && digest_of(*user) == caller.password);
  return user && has_same_password && user->role >= caller.role;
}

std::variant<Sessions::Opened, Response> Access::open_session(const Request& request, std::string_view name,
                                                              std::string_view password) {
  auto verified = verify(request, name, password);
  if (const auto* const refusal = std::get_if<Refusal>(&verified)) return as_problem(request, *refusal);
  const User& user = std::get<User>(verified);
  tell_(Priority::kInfo, engine::in_quotes(user.name) + " has logged in " + where(request));
  return sessions_.open(user.name, user.hash, TokenKind::kHeader, address_of(request));
}

std::shared_ptr<const Users> Access::users() const {
  const std::lock_guard lock(users_mutex_);
  return users_;
}

std::optional<User> Access::find_user(std::string_view name) const {
  const auto all = users();
  const auto found = all->find(name);
  if (found == all->end()) return std::nullopt;
  return found->second;
}

bool Access::is_proxy(const Request& request) const {
  return options_.proxy_user && request.peer.user == options_.proxy_user;
}

bool Access::is_encrypted(const Request& request) const {
  return request.peer.is_encrypted || (is_proxy(request) && request.header("x-forwarded-proto") == "https");
}

// A name that begins so is taken by browsers from this host alone, with TLS and for all its paths (RFC 6265bis).
std::string Access::cookie_name(const Request& request) const {
  return is_encrypted(request) ? "__Host-polaiga-session" : "polaiga-session";
}

std::optional<std::string_view> Access::session_token(const Request& request) const {
  return find_cookie(request.header("cookie"), cookie_name(request));
}

std::string Access::address_of(const Request& request) const {
  return is_proxy(request) ? forwarded_address(request.header("x-forwarded-for")) : request.peer.address;
}

std::string Access::counted_as(const Request& request) const {
  if (request.peer.user && !is_proxy(request)) return "user " + std::to_string(*request.peer.user);
  return network_of(address_of(request));
}

std::string Access::where(const Request& request) const {
  const std::string address = address_of(request);
  if (!address.empty()) return "from " + address;
  if (is_proxy(request)) return "through the proxy";
  return "over a Unix socket of user " + std::to_string(request.peer.user.value_or(0));
}

Access::Admission Access::identify(const Request& request) {
  if (is_proxy(request) && !options_.proxy_user_header.empty()) {
    const std::string_view name = request.header(options_.proxy_user_header);
    if (!name.empty()) return admit_proxied(std::string(name));
  }
  if (has_users() && !request.header("x-auth-token").empty()) return admit_token(request);
  if (has_users() && !request.header("authorization").empty()) return admit_password(request);
  if (auto caller = caller_of_cookie(request)) {
    if (is_question(request) || has_csrf_token(request)) return *std::move(caller);
    return problem(403,
                   "The request changes something and comes with a session's cookie, but without the session's "
                   "token, which /api/v1/me tells: send it as the header X-CSRF-Token or the form's field csrf.");
  }
  const Caller caller = caller_of_connection(request);
  if (caller.may_see()) return caller;
  if (least_role() > Role::kNobody) return Caller{.name = {}, .role = least_role()};
  if (is_for_everybody(request)) return Caller{};
  return refuse(request);
}

Access::Admission Access::admit_proxied(const std::string& name) const {
  const auto user = find_user(name);
  if (!user) return problem(403, "The proxy has sent the name " + engine::in_quotes(name) + ", which is no user here.");
  return Caller{.name = user->name, .role = user->role, .proof = Proof::kProxy};
}

Access::Admission Access::admit_token(const Request& request) {
  auto caller = caller_of_session(sessions_.find(request.header("x-auth-token"), TokenKind::kHeader));
  if (caller) return *std::move(caller);
  return unauthorized(request, "The session of X-Auth-Token is over, or there was none. Log in again.");
}

Access::Admission Access::admit_password(const Request& request) {
  const auto credentials = parse_basic(request.header("authorization"));
  if (!credentials) return unauthorized(request, kWrong);
  const std::string_view password = credentials->password.view();
  std::optional<User> user = find_user(credentials->name);
  if (!user || !verified_.has(*user, password)) {
    auto verified = verify(request, credentials->name, password);
    if (const auto* const refusal = std::get_if<Refusal>(&verified)) return as_problem(request, *refusal);
    user = std::get<User>(std::move(verified));
    verified_.add(*user, password);
  }
  return Caller{.name = user->name, .role = user->role, .proof = Proof::kPassword, .password = digest_of(*user)};
}

std::optional<Caller> Access::caller_of_session(const std::optional<Sessions::Found>& session) {
  if (!session) return std::nullopt;
  const auto user = find_user(session->name);
  if (user && user->hash == session->proof) {
    return Caller{.name = user->name, .role = user->role, .proof = Proof::kSession, .session = session->id};
  }
  sessions_.end(session->id);
  return std::nullopt;
}

std::optional<Caller> Access::caller_of_cookie(const Request& request) {
  const auto token = session_token(request);
  if (!token) return std::nullopt;
  return caller_of_session(sessions_.find(*token, TokenKind::kCookie));
}

Caller Access::caller_of_connection(const Request& request) const {
  if (request.peer.certificate) {
    const auto user = find_user(*request.peer.certificate);
    if (user) return {.name = user->name, .role = user->role, .proof = Proof::kCertificate};
  }
  // Whoever comes through the proxy is not the proxy.
  if (request.peer.user && !is_proxy(request)) return unix_peers_.caller(*request.peer.user);
  return {};
}

bool Access::has_csrf_token(const Request& request) {
  const auto token = session_token(request);
  if (!token) return false;
  const std::string wanted = hexadecimal(csrf_.of(*token));
  const std::string_view header = request.header("x-csrf-token");
  if (!header.empty()) return are_equal(header, wanted);
  return are_equal(find_form_field(request.header("content-type"), request.body, "csrf").value_or(""), wanted);
}

std::variant<User, Access::Refusal> Access::verify(const Request& request, std::string_view name,
                                                   std::string_view password) {
  if (!is_user_name(name) || !is_password(password)) return Refusal{.status = 401, .why = kWrong};
  const std::string address = counted_as(request);
  const std::string key(name);
  const auto wait = std::chrono::ceil<std::chrono::seconds>(delays_.wait(address, key));
  if (wait.count() > 0) {
    return Refusal{.status = 429, .why = "Logins have failed before. Try again in " + in_seconds(wait), .wait = wait};
  }
  const auto user = find_user(name);
  switch (checker_.check(password, user ? user->hash : std::string())) {
    case PasswordChecker::Verdict::kBusy:
      return Refusal{
          .status = 503, .why = "Too many log in at this moment. Try again.", .wait = std::chrono::seconds(1)};
    case PasswordChecker::Verdict::kWrong:
      delays_.failed(address, key);
      // Somebody may have typed the password in place of the name, so a name that nobody has is not told.
      tell_(Priority::kWarning,
            "a login " + where(request) + " failed: " +
                (user ? "the password of " + engine::in_quotes(name) + " was wrong" : "there is no user of that name"));
      return Refusal{.status = 401, .why = kWrong};
    case PasswordChecker::Verdict::kRight:
      break;
  }
  delays_.succeeded(address, key);
  return user.value_or(User{});
}

Response Access::as_problem(const Request& request, const Refusal& refusal) {
  if (refusal.status == 401) return unauthorized(request, refusal.why);
  Response response = problem(refusal.status, refusal.why);
  add_wait(response, refusal.wait);
  return response;
}

Response Access::answer_login(const Request& request) {
  if (!has_users()) return problem(404, "No users are set up here, so nobody can log in. Everybody may look.");
  if (request.method == Method::kPost) return log_in(request);
  if (!is_question(request)) return not_allowed("GET, HEAD, POST");
  return html(200, {.next = return_address(request.target.find("next").value_or("/"))});
}

Response Access::log_in(const Request& request) {
  const auto login = parse_login(request.header("content-type"), request.body);
  if (!login) return problem(400, "Send a form or JSON with a name and a password, and nothing else.");
  const std::string next = return_address(login->next);
  auto verified = verify(request, login->name, login->password.view());
  if (const auto* const refusal = std::get_if<Refusal>(&verified)) {
    if (!login->is_form) return as_problem(request, *refusal);
    Response page = html(refusal->status, {.name = login->name, .next = next, .problem = refusal->why});
    if (refusal->status == 401) add_challenge(page, request);
    add_wait(page, refusal->wait);
    return page;
  }
  if (const auto before = caller_of_cookie(request)) sessions_.end(before->session);
  const User& user = std::get<User>(verified);
  const auto opened = sessions_.open(user.name, user.hash, TokenKind::kCookie, address_of(request));
  tell_(Priority::kInfo, engine::in_quotes(user.name) + " has logged in " + where(request));
  Response response = redirect(next);
  if (!login->is_form) {
    engine::JsonObject body;
    body.add("name", user.name).add("role", role_name(user.role)).add("csrf", hexadecimal(csrf_.of(opened.token)));
    response = {.headers = {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}},
                .body = std::make_shared<const std::string>(body.line())};
  }
  response.headers.emplace_back("Set-Cookie", cookie(request, opened.token));
  return response;
}

Response Access::log_out(const Request& request) {
  if (request.method != Method::kPost) return not_allowed("POST");
  const auto caller = caller_of_cookie(request);
  if (caller && !has_csrf_token(request)) {
    return problem(403, "To log out, send the session's token as the header X-CSRF-Token or the form's field csrf.");
  }
  if (caller) sessions_.end(caller->session);
  Response response = redirect("/login");
  if (request.header("accept").find("text/html") == std::string_view::npos) response = {.status = 204};
  response.headers.emplace_back("Set-Cookie", cookie(request, "") + "; Max-Age=0");
  return response;
}

std::string Access::cookie(const Request& request, const std::string& token) const {
  return cookie_name(request) + "=" + token + "; Path=/; HttpOnly; SameSite=Strict" +
         (is_encrypted(request) ? "; Secure" : "");
}

}  // namespace polaiga::web
