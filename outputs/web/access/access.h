// Decides who may see alarms and act on them. It knows callers by their session, password, certificate, proxy or Unix
// socket.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "access/gate.h"
#include "access/login_delays.h"
#include "access/login_request.h"
#include "access/password_hash.h"
#include "access/session_desk.h"
#include "access/sessions.h"
#include "access/unix_peers.h"
#include "access/users.h"
#include "access/verified_passwords.h"
#include "base/clock.h"
#include "base/messages.h"

namespace polaiga::web {

struct AccessOptions {
  std::string users = {};  // path of the file; empty: there are no users, all may look, and only Unix peers may act
  UnixPeers::Groups groups = {};
  UnixPeers::Lists lists = {};
  std::optional<uid_t> proxy_user = {};  // at a Unix socket, whose header is believed
  std::string proxy_user_header = {};    // names the user who has logged in at the proxy, as "X-Remote-User"
  SessionLimits sessions = {};
};

// A request that has several proofs counts as of the first of these: the header of the proxy, X-Auth-Token,
// Authorization, the cookie, the client certificate, the Unix socket. One of the first three that is wrong is refused,
// whatever else comes with it. A cookie whose session is over is as none, since browsers keep it.
class Access final : public Gate, public SessionDesk {
 public:
  using Tell = std::function<void(engine::Priority, const std::string&)>;

  // Reads the users. The clock must outlive this; `tell` is called by several threads. Throws std::runtime_error.
  Access(AccessOptions options, const engine::Clock& clock, Tell tell);

  // Reads the users and groups anew. Sessions of users who are gone, or who have another password, end with that. Tells
  // what is wrong with the file, and then the users stay as they were.
  void reload();

  std::variant<Caller, Response> admit(const Request& request) override;
  std::optional<std::string> csrf(const Request& request) override;
  bool holds(const Caller& caller) override;

  std::variant<Sessions::Opened, Response> open_session(const Request& request, std::string_view name,
                                                        std::string_view password) override;
  std::vector<SessionFacts> sessions() override { return sessions_.list(); }
  bool end_session(std::string_view id) override { return sessions_.end(id); }
  std::chrono::seconds session_idle_limit() const override { return options_.sessions.idle; }

 private:
  using Admission = std::variant<Caller, Response>;

  // Why somebody could not log in.
  struct Refusal {
    int status = 0;
    std::string why;                 // a sentence for people
    std::chrono::seconds wait = {};  // before the next try
  };

  bool has_users() const { return !options_.users.empty(); }
  // Of whoever reaches the server.
  Role least_role() const { return has_users() ? Role::kNobody : Role::kViewer; }
  std::shared_ptr<const Users> users() const;
  // Nothing: there is no such user.
  std::optional<User> find_user(std::string_view name) const;

  bool is_proxy(const Request& request) const;
  bool is_encrypted(const Request& request) const;
  std::string cookie_name(const Request& request) const;
  std::optional<std::string_view> session_token(const Request& request) const;
  // Of the client; "": it is not known.
  std::string address_of(const Request& request) const;
  // Whom failures are counted for; "": many people share the address.
  std::string counted_as(const Request& request) const;
  // As messages tell it: "from 192.0.2.7".
  std::string where(const Request& request) const;

  Admission identify(const Request& request);
  Admission admit_proxied(const std::string& name) const;
  Admission admit_token(const Request& request);
  Admission admit_password(const Request& request);
  std::optional<Caller> caller_of_session(const std::optional<Sessions::Found>& session);
  std::optional<Caller> caller_of_cookie(const Request& request);
  Caller caller_of_connection(const Request& request) const;
  bool has_csrf_token(const Request& request);

  // The user, or why not.
  std::variant<User, Refusal> verify(const Request& request, std::string_view name, std::string_view password);

  static Response as_problem(const Request& request, const Refusal& refusal);
  Response answer_login(const Request& request);
  Response log_in(const Request& request);
  Response log_out(const Request& request);
  std::string cookie(const Request& request, const std::string& token) const;

  AccessOptions options_;
  Tell tell_;
  UnixPeers unix_peers_;
  mutable std::mutex users_mutex_;
  std::shared_ptr<const Users> users_;
  PasswordChecker checker_;
  LoginDelays delays_;
  Sessions sessions_;
  VerifiedPasswords verified_;
  KeyedDigest csrf_;
};

}  // namespace polaiga::web
