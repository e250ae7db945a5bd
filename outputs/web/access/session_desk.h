// Where other parts of the server open, list and end sessions, such as those of Redfish's session service.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "access/sessions.h"
#include "http/message.h"

namespace polaiga::web {

class SessionDesk {
 public:
  virtual ~SessionDesk() = default;

  // A session whose token is sent as the header X-Auth-Token. Else the response: 401 when name or password is wrong,
  // 429 with Retry-After when there were too many wrong ones, 503 with Retry-After when too many log in at once.
  virtual std::variant<Sessions::Opened, Response> open_session(const Request& request, std::string_view name,
                                                                std::string_view password) = 0;

  // Of all users, those of browsers included, in the order in which they were opened. Who may see and end the sessions
  // of others the part decides; Caller::session is the caller's own.
  virtual std::vector<SessionFacts> sessions() = 0;

  // Whether there was such a session.
  virtual bool end_session(std::string_view id) = 0;

  // After how long a session ends that nobody uses.
  virtual std::chrono::seconds session_idle_limit() const = 0;
};

}  // namespace polaiga::web
