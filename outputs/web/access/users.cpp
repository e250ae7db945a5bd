#include "access/users.h"

#include <stdexcept>

#include "access/names.h"
#include "access/password_hash.h"
#include "base/printable.h"
#include "base/private_file.h"

namespace polaiga::web {
namespace {

constexpr std::string_view kNoPassword = "!";

// Calls `take` with each line and its number.
template <class Take>
void each_line(std::string_view text, Take take) {
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    take(text.substr(0, end), number);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

bool is_comment(std::string_view line) { return line.empty() || line.starts_with('#'); }

bool is_line_of(std::string_view line, std::string_view name) {
  return line.size() > name.size() && line.starts_with(name) && line[name.size()] == ':';
}

User parse_user(std::string_view line, const std::string& where) {
  const std::size_t first = line.find(':');
  const std::size_t second = first == std::string_view::npos ? first : line.find(':', first + 1);
  if (second == std::string_view::npos) throw std::runtime_error(where + ": it is not of the form name:role:hash");
  User user{.name = std::string(line.substr(0, first)), .role = Role::kNobody, .hash = {}};
  if (!is_user_name(user.name)) {
    throw std::runtime_error(where + ": the name has to be 1 to " + std::to_string(kLongestUserName) +
                             " bytes that can be shown, with no space at its ends");
  }
  const std::string_view role = line.substr(first + 1, second - first - 1);
  user.role = find_role(role).value_or(Role::kNobody);
  if (user.role == Role::kNobody) {
    throw std::runtime_error(where + ": the role is " + engine::in_quotes(role) + "; it may be viewer or operator");
  }
  const std::string_view hash = line.substr(second + 1);
  if (hash == kNoPassword) return user;
  if (!is_password_hash(hash)) {
    throw std::runtime_error(where + ": the hash is no yescrypt hash; set the password with: polaiga-web passwd");
  }
  user.hash = hash;
  return user;
}

std::string line_of(const User& user) {
  return user.name + ":" + std::string(role_name(user.role)) + ":" +
         (user.hash.empty() ? std::string(kNoPassword) : user.hash) + "\n";
}

}  // namespace

std::optional<Role> find_role(std::string_view name) {
  for (const Role role : {Role::kViewer, Role::kOperator}) {
    if (name == role_name(role)) return role;
  }
  return std::nullopt;
}

Users parse_users(std::string_view text, const std::string& path) {
  Users users;
  each_line(text, [&](std::string_view line, int number) {
    if (is_comment(line)) return;
    const std::string where = engine::printable(path) + ":" + std::to_string(number);
    User user = parse_user(line, where);
    if (users.contains(user.name)) {
      throw std::runtime_error(where + ": there is a user " + engine::in_quotes(user.name) + " already");
    }
    if (users.size() == kMostUsers) {
      throw std::runtime_error(where + ": there are more than " + std::to_string(kMostUsers) + " users");
    }
    std::string name = user.name;
    users.emplace(std::move(name), std::move(user));
  });
  return users;
}

Users read_users(const std::string& path) {
  return parse_users(engine::read_private_file(path, "the users file"), path);
}

std::string with_user(std::string_view text, const User& user) {
  std::string changed;
  bool is_there = false;
  each_line(text, [&](std::string_view line, int /*number*/) {
    if (!is_line_of(line, user.name)) {
      changed.append(line).append("\n");
    } else if (!is_there) {
      changed += line_of(user);
      is_there = true;
    }
  });
  if (!is_there) changed += line_of(user);
  return changed;
}

std::string without_user(std::string_view text, std::string_view name) {
  std::string changed;
  each_line(text, [&](std::string_view line, int /*number*/) {
    if (!is_line_of(line, name)) changed.append(line).append("\n");
  });
  return changed;
}

}  // namespace polaiga::web
