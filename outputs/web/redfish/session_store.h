// The sessions of Redfish's clients, as whoever checks names and passwords keeps them.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "http/message.h"
#include "model/moment.h"

namespace polaiga::web {

class SessionStore {
 public:
  struct Session {
    std::string id;  // names it in addresses; it is no secret
    std::string user;
    engine::Moment created = 0;
  };

  struct NewSession {
    Session session;
    std::string token;  // for the header X-Auth-Token
  };

  virtual ~SessionStore() = default;

  // Or the response, of whatever form: 401 when the name or the password is wrong, 429 or 503 with Retry-After when
  // there were too many wrong ones, or too many at once. Called by several threads at once, as are the others.
  virtual std::variant<NewSession, Response> create(const Request& request, const std::string& name,
                                                    const std::string& password) = 0;
  virtual std::vector<Session> list() = 0;
  // False: there is no such session.
  virtual bool remove(const std::string& id) = 0;
  // After how many seconds without a request a session ends.
  virtual int timeout_seconds() const = 0;
};

}  // namespace polaiga::web
