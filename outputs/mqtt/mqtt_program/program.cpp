#include "mqtt_program/program.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <string>
#include <utility>

#include "base/messages.h"
#include "base/status.h"
#include "broker/session.h"
#include "messages/requests.h"
#include "messages/topics.h"
#include "mqtt_program/command_line.h"
#include "picture/followed_ledger.h"
#include "publisher/engine_asker.h"
#include "publisher/engine_teller.h"
#include "publisher/service.h"
#include "telling/teller.h"

namespace polaiga::mqtt {
namespace {

using engine::Priority;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr const char* kPublisher = "mqtt";
constexpr seconds kGoodbyeWithin{2};

// It could not go on. The unit starts it again after this status, and not after engine::kFailed.
constexpr int kUndone = 1;

void complete(Options& options) {
  const Topics topics(options.origin.site, options.origin.controller);
  Settings& settings = options.settings;
  settings.client_id = "polaiga-" + options.origin.site + "-" + options.origin.controller;
  settings.will_topic = topics.status;
  settings.will_payload = lost_payload(options.origin);
  settings.subscriptions = {{.topic = topics.replay, .most = kMostRequestBytes}};
  const auto subscribe = [&settings](bool is_wanted, const std::string& topic, std::size_t most) {
    if (is_wanted) {
      settings.subscriptions.push_back({.topic = topic, .most = most});
    } else {
      settings.unwanted.push_back(topic);
    }
  };
  subscribe(options.confirmed_by == ConfirmedBy::kCollector, topics.ack, kMostRequestBytes);
  subscribe(options.accepts_actions, topics.action, kMostActionBytes);
}

class Program {
 public:
  explicit Program(const Options& options)
      : options_(options),
        ledger_(options.ledger, service_.clock(), tell_),
        engine_(options.control, tell_),
        asker_(options.control),
        session_(options.settings, service_.clock(), tell_),
        teller_({.publisher = kPublisher,
                 .peer = options.settings.peer(),
                 .origin = options.origin,
                 .confirmed_by = options.confirmed_by,
                 .heartbeat = seconds(options.heartbeat),
                 .accepts_actions = options.accepts_actions,
                 .tells_list = options.tells_list},
                {.ledger = ledger_,
                 .link = session_,
                 .clock = service_.clock(),
                 .tell = tell_,
                 .report = [this](const output::Report& report) { engine_.report(report); },
                 .is_engine_answering = [this] { return engine_.is_engine_answering(); },
                 .is_of_use = [this] { session_.is_of_use(); },
                 .ask_for_kept = [this](const std::string& topic) { session_.ask_for_kept(topic); },
                 .ask_engine = [this](std::string request) { asker_.ask(std::move(request)); },
                 .take_engine_answer = [this] { return asker_.take_answer(); }}) {
    session_.set_listener(teller_);
  }

  int run();

 private:
  void go_on();
  void wait(milliseconds most);
  void reload();
  void say_goodbye();
  void warn_of_dots();

  const Options& options_;
  output::Service service_{"polaiga-mqtt"};
  const std::function<void(Priority, const std::string&)> tell_ = [this](Priority priority, const std::string& text) {
    service_.say(priority, text);
  };
  output::FollowedLedger ledger_;
  output::EngineTeller engine_;
  output::EngineAsker asker_;
  Session session_;
  Teller teller_;
  pollfd polled_{.fd = -1, .events = 0, .revents = 0};
};

void Program::wait(milliseconds most) {
  polled_ = session_.polled();
  service_.wait({&polled_, 1}, most);
}

void Program::go_on() {
  session_.go_on(polled_);
  teller_.set_last_error(session_.last_error(), session_.last_error_at());
  teller_.go_on();
  service_.status(teller_.summary());
}

void Program::reload() {
  service_.reloading();
  service_.say(Priority::kInfo, "connecting anew, with certificates and password as they are now");
  session_.reconnect();
  service_.ready(teller_.summary());
}

void Program::say_goodbye() {
  service_.stopping();
  teller_.say_goodbye();
  const auto until = service_.clock().steady() + kGoodbyeWithin;
  while (session_.is_up() && !teller_.is_goodbye_confirmed() && service_.clock().steady() < until) {
    polled_ = session_.polled();
    ::poll(&polled_, 1, 100);
    session_.go_on(polled_);
  }
  session_.end();
  teller_.report_now();
}

// Brokers of a fleet make a '.' of each '/' of a topic, so names with a '.' cannot be told apart there.
void Program::warn_of_dots() {
  if (options_.confirmed_by != ConfirmedBy::kCollector && !options_.accepts_actions) return;
  const auto warn = [this](const char* option, const std::string& name) {
    if (name.find('.') == std::string::npos) return;
    service_.say(Priority::kWarning, std::string(option) + " is '" + name +
                                         "'; a fleet's names have no '.', and its collector does not take messages of "
                                         "this one. Give it another name");
  };
  warn("--site", options_.origin.site);
  warn("--controller", options_.origin.controller);
}

int Program::run() {
  const Settings& settings = options_.settings;
  // What is wrong with a file is told now, and not again and again.
  try {
    const Connection tried(settings, Protocol::kMqtt5);
  } catch (const ConnectionError& error) {
    service_.say(Priority::kError, error.what());
    return engine::kFailed;
  }
  if (!settings.password_file.empty() && !settings.is_encrypted()) {
    service_.say(Priority::kWarning, "The password goes to " + settings.peer() + " without encryption; give --tls-ca");
  }
  warn_of_dots();
  service_.ready(teller_.summary());
  service_.say(Priority::kInfo, "ready: telling " + settings.peer() + " what is in " + options_.ledger);
  while (!service_.must_stop()) {
    if (service_.take_reload()) reload();
    go_on();
    wait(std::min(session_.until_next(), teller_.until_next()));
  }
  say_goodbye();
  return engine::kDone;
}

}  // namespace

int run_program(int argc, const char* const* argv) {
  int status = engine::kDone;
  try {
    auto options = read_command_line(argc, argv, status);
    if (!options) return status;
    complete(*options);
    return Program(*options).run();
  } catch (const std::exception& error) {
    engine::say(error.what());
  }
  return kUndone;
}

}  // namespace polaiga::mqtt
