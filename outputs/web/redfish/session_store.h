// The sessions of Redfish's clients, as whoever checks names and passwords keeps them.
#pragma once

#include <optional>
#include <string>
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

  // Nothing: the name or the password is wrong, or there were too many wrong ones. Called by several threads at once,
  // as are the others.
  virtual std::optional<NewSession> create(const std::string& name, const std::string& password, const Peer& peer) = 0;
  virtual std::vector<Session> list() = 0;
  // False: there is no such session.
  virtual bool remove(const std::string& id) = 0;
  // After how many seconds without a request a session ends.
  virtual int timeout_seconds() const = 0;
};

}  // namespace polaiga::web
