// A session that lets the program look after itself between two requests: a long row of them must not keep it from
// telling the service manager that it is alive, nor from ending.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "controller/session.h"

namespace polaiga::ipmi {

class WatchedSession final : public Session {
 public:
  // `between` is called before each request. What it throws ends the request.
  WatchedSession(std::unique_ptr<Session> session, std::function<void()> between)
      : session_(std::move(session)), between_(std::move(between)) {}

  Answer ask(NetFn function, std::uint8_t command, std::span<const std::uint8_t> data) override {
    between_();
    return session_->ask(function, command, data);
  }

 private:
  std::unique_ptr<Session> session_;
  std::function<void()> between_;
};

}  // namespace polaiga::ipmi
