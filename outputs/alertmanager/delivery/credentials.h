// Who the program is for its peers: users, passwords and tokens, read from a file.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "base/wipe.h"
#include "delivery/address.h"

namespace polaiga::alertmanager {

// For one peer. Either a user and a password, or a token, or nothing.
struct Credential {
  Credential() = default;
  ~Credential() {
    engine::wipe(password);
    engine::wipe(token);
  }
  Credential(const Credential&) = default;
  Credential& operator=(const Credential&) = default;

  std::string user;
  std::string password;
  std::string token;

  bool is_empty() const { return user.empty() && token.empty(); }
};

class Credentials {
 public:
  Credentials() = default;

  // Lines NAME=VALUE: user and password, or token. Those before the first line url=URL are for all peers, and those
  // after such a line for the peer with this URL alone. Empty lines and lines that begin with # do not count. `name` is
  // the file's, for complaints, which never repeat a line. Throws std::runtime_error.
  Credentials(std::string_view text, const std::string& name);

  const Credential& of(const Address& address) const;

 private:
  Credential all_;
  std::map<std::string, Credential> of_url_;
};

}  // namespace polaiga::alertmanager
