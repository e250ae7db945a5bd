// Redfish's session service: it shows and changes the sessions that the server has anyway.
#pragma once

#include <optional>
#include <string>

#include "access/caller.h"
#include "access/session_desk.h"
#include "redfish/resource.h"

namespace polaiga::web {

class SessionService {
 public:
  // Null: there are no users, so nobody can log in.
  explicit SessionService(SessionDesk* desk) : desk_(desk) {}

  engine::JsonObject service() const;
  // Viewers see their own sessions alone; for them the others are not there.
  engine::JsonObject sessions(const Caller& caller, const MemberRange& range) const;
  std::optional<engine::JsonObject> session(const Caller& caller, const std::string& id) const;

  // The answer to a request for a new session. Throws Refusal.
  Response log_in(const Request& request);
  // Whether there was such a session.
  bool log_out(const Caller& caller, const std::string& id);

 private:
  std::optional<SessionFacts> find(const Caller& caller, const std::string& id) const;

  SessionDesk* desk_;
};

std::string sessions_uri();

}  // namespace polaiga::web
