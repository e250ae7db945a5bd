// What users of this machine may do who connect to a Unix socket.
#pragma once

#include <sys/types.h>

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "access/caller.h"

namespace polaiga::web {

// Root and the server's own user are operators, since they could change the ledger itself. So are the members of one
// group; those of another are viewers. For several threads.
class UnixPeers {
 public:
  struct Groups {
    std::optional<std::string> operators;
    std::optional<std::string> viewers;
  };
  // Where the users and groups of the machine are listed.
  struct Lists {
    std::string users = "/etc/passwd";
    std::string groups = "/etc/group";
  };

  // Throws std::runtime_error when there is no such group, or a list is there and cannot be read.
  explicit UnixPeers(const Groups& groups) : UnixPeers(groups, {}) {}
  UnixPeers(Groups groups, Lists lists);

  // Reads the groups anew. Throws std::runtime_error, and then what was known still holds.
  void reload();

  // The name is that of the machine's user.
  Caller caller(uid_t user) const;

 private:
  struct Known {
    std::map<uid_t, std::string> names;
    std::map<uid_t, Role> roles;
  };

  Known read() const;

  Groups groups_;
  Lists lists_;
  mutable std::mutex mutex_;
  Known known_;
};

}  // namespace polaiga::web
