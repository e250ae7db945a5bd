// The sessions of Redfish's clients are those of all who log in.
#pragma once

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "access/session_desk.h"
#include "redfish/session_store.h"

namespace polaiga::web {

class DeskSessions final : public SessionStore {
 public:
  // The desk must outlive this.
  explicit DeskSessions(SessionDesk& desk) : desk_(desk) {}

  std::variant<NewSession, Response> create(const Request& request, const std::string& name,
                                            const std::string& password) override {
    auto opened = desk_.open_session(request, name, password);
    if (auto* const refused = std::get_if<Response>(&opened)) return std::move(*refused);
    auto& fresh = std::get<Sessions::Opened>(opened);
    return NewSession{.session = session_of(fresh.facts), .token = std::move(fresh.token)};
  }

  std::vector<Session> list() override {
    std::vector<Session> found;
    for (const SessionFacts& facts : desk_.sessions()) found.push_back(session_of(facts));
    return found;
  }

  bool remove(const std::string& id) override { return desk_.end_session(id); }

  int timeout_seconds() const override { return static_cast<int>(desk_.session_idle_limit().count()); }

 private:
  static Session session_of(const SessionFacts& facts) {
    return {.id = facts.id, .user = facts.name, .created = facts.created};
  }

  SessionDesk& desk_;
};

}  // namespace polaiga::web
