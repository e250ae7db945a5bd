// The users and groups of this machine, by name and by number. They are read from /etc/passwd and /etc/group alone: a
// directory service could take long, or not answer at all.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace polaiga::engine {

// The name of a user; "user 1234" for one that /etc/passwd does not have.
std::string user_name(uid_t user);

// The same for a group.
std::string group_name(gid_t group);

// By name or as a number. Nothing: there is no such user or group.
std::optional<uid_t> find_user(const std::string& name);
std::optional<gid_t> find_group(const std::string& name);

}  // namespace polaiga::engine
