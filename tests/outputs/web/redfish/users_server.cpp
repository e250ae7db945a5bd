// polaiga-web's Redfish alone, with two users in memory: "viewer" may look and "operator" may act, both with the
// password "secret". So its tests need no file of users.
#include <CLI/CLI.hpp>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>

#include "app/application.h"
#include "app/program.h"
#include "http/answers.h"
#include "http/server.h"
#include "redfish/errors.h"
#include "redfish/redfish.h"

namespace {

using namespace polaiga::web;

// base64 of "viewer:secret" and "operator:secret".
constexpr std::string_view kViewer = "Basic dmlld2VyOnNlY3JldA==";
constexpr std::string_view kOperator = "Basic b3BlcmF0b3I6c2VjcmV0";

class Users final : public Gate, public SessionStore {
 public:
  std::variant<Caller, Response> admit(const Request& request) override {
    const std::string_view basic = request.header("authorization");
    if (basic == kViewer) return caller("viewer");
    if (basic == kOperator) return caller("operator");
    if (!basic.empty()) return in_redfish_form(problem(401, "Wrong name or password."));
    const std::lock_guard lock(mutex_);
    const auto found = by_token_.find(request.header("x-auth-token"));
    return found == by_token_.end() ? Caller{} : caller(found->second.user);
  }

  std::variant<NewSession, Response> create(const Request& /*request*/, const std::string& name,
                                            const std::string& password) override {
    if ((name != "viewer" && name != "operator") || password != "secret") {
      return problem(401, "Wrong name or password.");
    }
    const std::lock_guard lock(mutex_);
    const std::string number = std::to_string(++last_);
    Session session{.id = number, .user = name, .created = std::time(nullptr)};
    by_token_["token-" + number] = session;
    return NewSession{session, "token-" + number};
  }

  std::vector<Session> list() override {
    const std::lock_guard lock(mutex_);
    std::vector<Session> all;
    for (const auto& [token, session] : by_token_) all.push_back(session);
    return all;
  }

  bool remove(const std::string& id) override {
    const std::lock_guard lock(mutex_);
    return std::erase_if(by_token_, [&](const auto& one) { return one.second.id == id; }) != 0;
  }

  int timeout_seconds() const override { return 1800; }

 private:
  static Caller caller(const std::string& name) {
    return {.name = name, .role = name == "operator" ? Role::kOperator : Role::kViewer};
  }

  std::mutex mutex_;
  int last_ = 0;
  std::map<std::string, Session, std::less<>> by_token_;
};

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  sigprocmask(SIG_BLOCK, &ends, nullptr);
  CLI::App program("Redfish with two users");
  std::string ledger;
  std::string control;
  std::string state;
  std::string polaiga;
  int retry = 1;
  PushOptions push{.retry_attempts = 2};
  bool refuses_local = false;
  program.add_option("--ledger", ledger)->required();
  program.add_option("--control", control)->required();
  program.add_option("--state", state);
  program.add_option("--program", polaiga)->required();
  program.add_option("--push-retry", retry);
  program.add_flag("--no-push-local", refuses_local);
  CLI11_PARSE(program, argc, argv);
  push.retry_interval = std::chrono::seconds(retry);
  push.allows_local = !refuses_local;
  const auto tell = [](const std::string& text) { std::fprintf(stderr, "%s\n", text.c_str()); };
  LiveLedger live(ledger, tell);
  Readers readers(ledger);
  EngineLink engine(control);
  Site site{live, readers, engine, polaiga, ledger};
  Users users;
  Application application(users);
  std::atomic<Server*> serving = nullptr;
  Redfish redfish(site, {.state_directory = state,
                         .push = push,
                         .sessions = &users,
                         .catalog =
                             [&] {
                               return run_program({polaiga, "catalog", "--json"}).output;
                             },
                         .tell = tell,
                         .wake_streams =
                             [&] {
                               if (Server* const now = serving) now->wake();
                             }});
  application.add("redfish", redfish);
  Listener listener(*parse_listen_address("127.0.0.1:0"));
  Server server(listener, application, {}, std::nullopt, tell);
  serving = &server;
  live.on_change([&] {
    server.wake();
    redfish.wake();
  });
  tell("ready: " + listener.address().text(false));
  int signal = 0;
  sigwait(&ends, &signal);
  live.on_change({});
  serving = nullptr;
  return 0;
}
