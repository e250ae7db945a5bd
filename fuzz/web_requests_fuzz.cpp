// Whole requests to the web server, as they are behind the HTTP library: a line with the method and the target,
// headers, an empty line and a body. All parts answer them, beside a ledger and an engine's control socket, with users
// of every kind. Whatever comes:
// - Nobody gets a right that his proofs do not give him, and a cookie alone changes nothing.
// - A response is well formed: no header ends early, JSON is JSON, a text in a page never becomes markup, and a browser
//   is led to no other host. No request makes the server fail.
// - The engine is told actions alone, each in one line and in the name of the caller.
// - What is read of a request reads the same when it is written again (web_texts.h).
//
// A word after the target says how the request comes: "unix" from the server's own user, "other" from another user of
// the machine, "proxy" from the proxy's, "tls=NAME" with a client certificate of that name; else it is a stranger's.
// In a header, {session}, {token}, {csrf} and {basic} stand for what an operator has who has logged in.
#include <fcntl.h>
#include <nettle/base64.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "access/access.h"
#include "api/api.h"
#include "app/application.h"
#include "app/catalog.h"
#include "base/standard_output.h"
#include "check.h"
#include "core/recorder.h"
#include "daemon/control_request.h"
#include "http/answers.h"
#include "intake/event_parser.h"
#include "metrics/metrics.h"
#include "page/page.h"
#include "redfish/redfish.h"
#include "restconf/restconf.h"
#include "web_texts.h"

namespace polaiga::fuzz {
namespace {

using namespace web;
using nlohmann::json;
namespace fs = std::filesystem;

constexpr engine::Moment kNow = 1735689600;  // 2025-01-01T00:00:00Z
constexpr uid_t kProxyUser = 50033;
constexpr uid_t kOtherUser = 50034;
constexpr const char* kStranger = "192.0.2.7";
constexpr const char* kFriend = "192.0.2.8";

// A time that never goes on, so that a session lasts and whoever guesses passwords waits for ever.
class StandingClock final : public engine::Clock {
 public:
  std::int64_t wall() const override { return kNow; }
  Steady steady() const override { return std::chrono::seconds(1'000'000); }
};

const char* const kEvents[] = {
    R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1,"id":"a"})",
    R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":1,"id":"b"})",
    R"({"entity":"fan","sensor":"FAN1_TACH1","offset":4,"state":5})",
    R"({"entity":"front_panel","sensor":"FP_TEMP","offset":107,"state":6})",
    R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":0})",
    R"({"entity":"sys_board","sensor":"RISER1_INLET_TMP","offset":117,"state":4})",
};

// What the server asks another program, such as why there is a fault, this one answers without any filter.
constexpr const char* kProgram = R"(#!/bin/sh
case "$1" in
  active) echo '{"ietf-alarms:alarms":{"control":{"notify-status-changes":"all-state-changes"},"alarm-list":{"number-of-alarms":1,"alarm":[{"resource":"sys"}]},"summary":{}}}' ;;
  catalog) echo '{"filter":"fan","code":395,"name":"fltA","severity":"major","cause":"thermal-problem","behaviours":[]}' ;;
  explain) [ "$#" -eq 6 ] && [ "$5" = -- ] || kill -ABRT "$PPID"; echo '{"fault_dn":"sys"}' ;;
  *) kill -ABRT "$PPID" ;;
esac
)";

// A directory that goes with this.
class Directory {
 public:
  Directory() : path_((fs::temp_directory_path() / "polaiga-fuzz-XXXXXX").string()) {
    check(::mkdtemp(path_.data()) != nullptr, "there is a directory");
  }
  ~Directory() { fs::remove_all(path_); }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  std::string file(const std::string& name) const { return path_ + "/" + name; }

  std::string write(const std::string& name, const std::string& text, mode_t mode) const {
    std::ofstream(file(name), std::ios::binary) << text;
    check(::chmod(file(name).c_str(), mode) == 0, "a file gets its mode");
    return file(name);
  }

 private:
  std::string path_;
};

// An engine's control socket, and what was asked there.
class Engine {
 public:
  explicit Engine(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    check(::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
              ::listen(socket_.get(), 16) == 0,
          "there is a control socket");
    thread_ = std::thread([this] { serve(); });
  }
  ~Engine() {
    ::shutdown(socket_.get(), SHUT_RDWR);
    thread_.join();
  }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // Since it was asked last.
  std::vector<std::string> lines() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
  }

 private:
  void serve() {
    for (;;) {
      const engine::Descriptor client(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (!client.is_open()) return;
      std::string text;
      char part[4096];
      while (!text.ends_with('\n')) {
        const ssize_t size = ::read(client.get(), part, sizeof part);
        if (size <= 0) break;
        text.append(part, static_cast<std::size_t>(size));
      }
      if (text != "{\"do\":\"status\"}\n") {
        const std::lock_guard lock(mutex_);
        lines_.push_back(text);
      }
      engine::write_all(client.get(), "{\"seq\":7}\n", 10);
    }
  }

  engine::Descriptor socket_;
  std::mutex mutex_;
  std::vector<std::string> lines_;
  std::thread thread_;
};

std::string base64(const std::string& plain) {
  std::string text(BASE64_ENCODE_RAW_LENGTH(plain.size()), '\0');
  base64_encode_raw(text.data(), plain.size(), reinterpret_cast<const std::uint8_t*>(plain.data()));
  return text;
}

const std::string* header_of(const Response& response, std::string_view name) {
  const auto found = std::ranges::find(response.headers, name, &std::pair<std::string, std::string>::first);
  return found == response.headers.end() ? nullptr : &found->second;
}

// What the HTTP library makes of the bytes of a request.
struct Asked {
  Request request;
  std::string raw_target;
  bool has_proof = false;  // one of an operator
  bool has_csrf = false;
};

class Laboratory {
 public:
  Laboratory()
      : password_(random_text(16)),
        engine_((write_ledger(), directory_.file("control.sock"))),
        live_(directory_.file("ledger.db"), [](const std::string&) {}),
        readers_(directory_.file("ledger.db")),
        link_(directory_.file("control.sock")),
        gate_({.users = write_users(), .proxy_user = kProxyUser, .proxy_user_header = "X-Remote-User"}, clock_,
              [](engine::Priority, const std::string& text) { check(is_printable(text), "a message can be shown"); }),
        site_{live_, readers_, link_, gate_, directory_.write("polaiga", kProgram, 0755), directory_.file("ledger.db")},
        catalog_(site_.program),
        api_(site_, catalog_),
        page_(site_),
        restconf_(site_),
        metrics_(site_, Metrics::kMostSeries),
        redfish_(site_, redfish_options(catalog_)),
        application_(gate_, HostNames({"alarms.example"})) {
    application_.add("", page_);
    application_.add("api", api_);
    application_.add("metrics", metrics_);
    application_.add("redfish", redfish_);
    application_.add("restconf", restconf_);
    application_.add(".well-known", host_meta_);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!live_.view() && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    check(live_.view() != nullptr, "the ledger is read");
    log_in();
  }

  void try_request(std::string_view text) {
    auto asked = read(text);
    check_target(asked.raw_target);
    check_subscription(asked.request.body);
    check_test_event(asked.request.body);
    try {
      asked.request.target = parse_target(asked.raw_target);
    } catch (const BadTarget&) {
      return;  // the server tells it by itself
    }
    leave_out_guesses(asked);
    const Request& request = asked.request;
    check_credentials(request);
    check_queries(request.target);
    const Caller caller = admitted(asked);
    engine_.lines();
    Response response = application_.answer(request);
    check_response(request, response);
    check_lines(caller);
    if (!gate_.holds(session_)) log_in();  // the request was to log out
  }

 private:
  static RedfishOptions redfish_options(Catalog& catalog) {
    RedfishOptions options;
    options.catalog = [&catalog] { return *catalog.lines(); };
    options.tell = [](engine::Priority, const std::string& text) { check(false, text.c_str()); };
    options.wake_streams = [] {};
    return options;
  }

  std::string write_users() const {
    const std::string hash = hash_password(password_);
    return directory_.write("users", "anna:operator:" + hash + "\nbob:viewer:" + hash + "\nrobot:viewer:!\n", 0600);
  }

  void write_ledger() const {
    engine::StandardOutput::divert(engine::Others::kDiscarded);
    engine::Ledger ledger(directory_.file("ledger.db"), {.events = 100, .days = 0, .bytes = 0}, kNow);
    engine::Recorder recorder({}, clock_, ledger);
    recorder.use_tables(engine::read_host_tables(POLAIGA_TABLES_DIR), POLAIGA_TABLES_DIR);
    for (const char* event : kEvents) recorder.record(engine::parse_sensor_event(event));
    recorder.act(
        {.kind = engine::ActionKind::kComment, .person = "anna", .comment = R"(<x-comment a="x-b">'&)", .alarms = {1}});
    recorder.commit();
  }

  void log_in() {
    Request request;
    request.method = Method::kPost;
    request.target = parse_target("/login");
    request.headers = {{"content-type", "application/json"}};
    request.body = json({{"name", "anna"}, {"password", password_}}).dump();
    request.peer.address = kFriend;
    const auto answer = std::get<Response>(gate_.admit(request));
    check(answer.status == 200, "the password is right");
    const std::string& cookie = *header_of(answer, "Set-Cookie");
    cookie_ = cookie.substr(0, cookie.find(';'));
    csrf_ = json::parse(*answer.body).at("csrf");
    request.method = Method::kGet;
    request.target = parse_target("/");
    request.headers = {{"cookie", cookie_}};
    session_ = std::get<Caller>(gate_.admit(request));
    const auto opened = gate_.open_session(request, "anna", password_);
    token_ = std::get<Sessions::Opened>(opened).token;
  }

  void take_header(Asked& asked, std::string_view line) const {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0) return;
    std::string name(line.substr(0, colon));
    for (char& c : name) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    std::string value(line.substr(colon + 1));
    value.erase(0, value.find_first_not_of(' '));
    const std::pair<std::string_view, std::string> kKnown[] = {
        {"{session}", cookie_}, {"{token}", token_}, {"{csrf}", csrf_}, {"{basic}", base64("anna:" + password_)}};
    for (const auto& [mark, secret] : kKnown) {
      const std::size_t at = value.find(mark);
      if (at == std::string::npos) continue;
      value.replace(at, mark.size(), secret);
      asked.has_proof = asked.has_proof || mark != "{csrf}";
      asked.has_csrf = asked.has_csrf || mark != "{session}";
    }
    std::string& text = asked.request.headers[name];
    text += (text.empty() ? "" : ", ") + value;
  }

  static void come_from(Peer& peer, std::string_view how) {
    if (how == "unix") {
      peer.user = ::geteuid();
    } else if (how == "other") {
      peer.user = kOtherUser;
    } else if (how == "proxy") {
      peer.user = kProxyUser;
    } else {
      peer.address = kStranger;
    }
    if (how.starts_with("tls")) peer.is_encrypted = true;
    if (how.starts_with("tls=")) peer.certificate = how.substr(4);
  }

  Asked read(std::string_view text) const {
    constexpr std::pair<std::string_view, Method> kMethods[] = {
        {"GET", Method::kGet},     {"HEAD", Method::kHead},     {"POST", Method::kPost},
        {"PATCH", Method::kPatch}, {"DELETE", Method::kDelete},
    };
    Asked asked;
    const auto next_line = [&] {
      const std::size_t end = text.find('\n');
      std::string_view line = text.substr(0, end);
      text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
      if (line.ends_with('\r')) line.remove_suffix(1);
      return line.substr(0, line.find('\0'));
    };
    std::string_view first = next_line();
    const auto next_word = [&] {
      const std::size_t end = first.find(' ');
      const std::string_view word = first.substr(0, end);
      first.remove_prefix(end == std::string_view::npos ? first.size() : end + 1);
      return word;
    };
    const auto* const method = std::ranges::find(kMethods, next_word(), &std::pair<std::string_view, Method>::first);
    asked.request.method = method == std::end(kMethods) ? Method::kOther : method->second;
    asked.raw_target = next_word();
    come_from(asked.request.peer, first);
    asked.request.headers["host"] = "alarms.example:8443";
    for (std::string_view line = next_line(); !line.empty(); line = next_line()) take_header(asked, line);
    asked.request.body = text;
    return asked;
  }

  // To hash a password takes long. Strangers have to wait for ever after their second failure, but clients of a proxy
  // share its address, so that each new name would be hashed.
  static void leave_out_guesses(Asked& asked) {
    if (asked.request.peer.user != kProxyUser || asked.has_proof) return;
    asked.request.headers.erase("authorization");
    if (is_of_gate(asked.request.target)) asked.request.body.clear();
  }

  static Role most_of(const Asked& asked) {
    const Request& request = asked.request;
    const auto role_of = [](std::string_view name) {
      if (name == "anna") return Role::kOperator;
      return name == "bob" || name == "robot" ? Role::kViewer : Role::kNobody;
    };
    if (asked.has_proof || request.peer.user == ::geteuid()) return Role::kOperator;
    if (request.peer.user == kProxyUser) return role_of(request.header("x-remote-user"));
    return request.peer.certificate ? role_of(*request.peer.certificate) : Role::kNobody;
  }

  // Who the gate says that it is.
  Caller admitted(const Asked& asked) {
    const Request& request = asked.request;
    const bool is_own = is_of_gate(request.target);
    auto admission = is_own ? std::variant<Caller, Response>(Caller{}) : gate_.admit(request);
    const Caller* const caller = std::get_if<Caller>(&admission);
    const bool is_question = web::is_question(request);
    const std::string_view site = request.header("sec-fetch-site");
    if (!is_own && !is_question && !site.empty() && site != "same-origin" && site != "none") {
      check(caller == nullptr, "a page of another site changes nothing");
    }
    if (gate_.csrf(request)) check(asked.has_proof, "the token of a session is told to whoever has it");
    if (caller == nullptr) return {};
    check(caller->role <= most_of(asked), "nobody gets a right that he has no proof of");
    check(caller->may_see() || caller->name.empty(), "who has a name may look");
    check(caller->proof != Proof::kSession || is_question || asked.has_csrf, "a cookie alone changes nothing");
    check(is_printable(caller->name), "a name can be shown");
    return *caller;
  }

  // A login and a logout change something, so they are asked once.
  static bool is_of_gate(const Target& target) {
    return target.path.size() == 1 && (target.path[0] == "login" || target.path[0] == "logout");
  }

  static void check_markup(std::string_view html) {
    // No page of ours has elements or attributes that begin so; only those who ask, and the comment in the ledger, do.
    check(html.find("<x-") == std::string_view::npos, "a text in a page is no element");
    check(html.find("\"x-") == std::string_view::npos, "a text in a page ends no attribute");
  }

  static void check_events(std::string_view text) {
    check(text.empty() || text.ends_with("\n\n"), "an event is whole");
    while (!text.empty()) {
      const std::size_t end = text.find('\n');
      const std::string_view line = text.substr(0, end);
      text.remove_prefix(end + 1);
      check(is_printable(line), "a line of events can be shown");
      check(line.empty() || line.starts_with("id: ") || line.starts_with("event: ") || line.starts_with("data: ") ||
                line.starts_with(": ") || line.starts_with("retry: "),
            "a line of events has a field");
      if (line.starts_with("data: ")) check(json::accept(line.substr(6)), "an event is JSON");
    }
  }

  static void check_response(const Request& request, Response& response) {
    check(response.status >= 200 && response.status <= 503 && response.status != 500, "no request makes a server fail");
    for (const auto& [name, value] : response.headers) {
      check(!name.empty() && name.find_first_of(" :\r\n") == std::string::npos, "a header has a name");
      check(is_printable(value), "a header has one line");
    }
    if (const std::string* const to = header_of(response, "Location")) {
      check(to->starts_with('/') && !to->starts_with("//") && !to->starts_with("/\\"), "a browser stays here");
    }
    if (const std::string* const cookie = header_of(response, "Set-Cookie")) {
      check(cookie->find("; Path=/; HttpOnly; SameSite=Strict") != std::string::npos, "no script reads a cookie");
      check(!request.peer.is_encrypted ||
                (cookie->starts_with("__Host-") && cookie->find("; Secure") != std::string::npos),
            "a cookie of TLS stays with TLS");
    }
    const std::string* const type = header_of(response, "Content-Type");
    if (response.stream) {
      check(type != nullptr, "a stream has a type");
      const std::string part = response.stream->next();
      if (*type == "text/event-stream") check_events(part);
      return;
    }
    const std::string_view body = response.body ? std::string_view(*response.body) : std::string_view();
    check(body.empty() || type != nullptr, "a body has a type");
    if (response.status == 304) check(body.empty(), "what is known is not sent again");
    if (body.empty()) return;
    if (type->find("json") != std::string::npos) check(json::accept(body), "JSON is JSON");
    if (type->starts_with("text/html")) check_markup(body);
    check(body.size() < std::size_t{4} * 1024 * 1024, "a response has limits");
  }

  void check_lines(const Caller& caller) {
    for (const std::string& line : engine_.lines()) {
      check(caller.may_act(), "who acts is an operator");
      check(line.ends_with('\n') && line.find('\n') == line.size() - 1, "an action is one line");
      try {
        const engine::ControlRequest request = engine::parse_control_request(line.substr(0, line.size() - 1));
        const auto* const action = std::get_if<engine::ActionRequest>(&request);
        check(action != nullptr, "the engine is told of actions alone");
        check(action->action.on_behalf_of == caller.name, "an action has the person who did it");
      } catch (const engine::BadRequest& bad) {
        check(is_printable(bad.what()), "a refusal can be shown");
      }
    }
  }

  Directory directory_;
  StandingClock clock_;
  std::string password_;
  Engine engine_;
  LiveLedger live_;
  Readers readers_;
  EngineLink link_;
  Access gate_;
  web::Site site_;
  Catalog catalog_;
  Api api_;
  Page page_;
  Restconf restconf_;
  HostMeta host_meta_;
  Metrics metrics_;
  Redfish redfish_;
  Application application_;
  // Of an operator who has logged in.
  std::string cookie_;
  std::string csrf_;
  std::string token_;
  Caller session_;
};

}  // namespace
}  // namespace polaiga::fuzz

// The engine's host tables take the place of the library's, which is meant.
extern "C" const char* __asan_default_options() {
  return "detect_odr_violation=0";
}  // NOLINT(bugprone-reserved-identifier)

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static polaiga::fuzz::Laboratory laboratory;
  laboratory.try_request({reinterpret_cast<const char*>(data), size});
  return 0;
}
