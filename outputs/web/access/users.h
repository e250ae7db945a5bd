// The users, as a file lists them: a line "name:role:hash" each, such as "anna:operator:$y$j9T$...". The hash "!" is of
// a user who has no password, and comes with a client certificate or through a proxy. Empty lines and lines that begin
// with "#" mean nothing.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "access/caller.h"

namespace polaiga::web {

struct User {
  std::string name;
  Role role = Role::kNobody;
  std::string hash;  // empty: he has no password
};

// By their names.
using Users = std::map<std::string, User, std::less<>>;

constexpr std::size_t kMostUsers = 1000;

// "viewer" or "operator".
std::optional<Role> find_role(std::string_view name);

// `path` is what messages call the file. Throws std::runtime_error with the line that is wrong; never with a hash.
Users parse_users(std::string_view text, const std::string& path);

// Reads the file, which must be private. Throws std::runtime_error.
Users read_users(const std::string& path);

// The text of the file with the user in place of the one of this name, or after all others.
std::string with_user(std::string_view text, const User& user);

// The text of the file without the user.
std::string without_user(std::string_view text, std::string_view name);

}  // namespace polaiga::web
