#include "access/unix_peers.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

#include "base/printable.h"

namespace polaiga::web {
namespace {

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

struct Group {
  gid_t number = 0;
  std::vector<std::string> members;
};

Group find_group(const std::string& list, const std::string& name) {
  if (const File file{std::fopen(list.c_str(), "re")}) {
    while (const struct group* const entry = ::fgetgrent(file.get())) {
      if (name != entry->gr_name) continue;
      Group found{.number = entry->gr_gid, .members = {}};
      for (char** member = entry->gr_mem; *member != nullptr; ++member) found.members.emplace_back(*member);
      return found;
    }
  }
  throw std::runtime_error("there is no group " + engine::in_quotes(name) + " in " + list);
}

bool has_member(const std::optional<Group>& group, const passwd& user) {
  return group &&
         (user.pw_gid == group->number || std::ranges::find(group->members, user.pw_name) != group->members.end());
}

}  // namespace

UnixPeers::UnixPeers(Groups groups, Lists lists)
    : groups_(std::move(groups)), lists_(std::move(lists)), known_(read()) {}

void UnixPeers::reload() {
  Known known = read();
  const std::lock_guard lock(mutex_);
  known_ = std::move(known);
}

Caller UnixPeers::caller(uid_t user) const {
  const std::lock_guard lock(mutex_);
  const auto name = known_.names.find(user);
  const auto role = known_.roles.find(user);
  Caller caller{.name = name == known_.names.end() ? "user " + std::to_string(user) : name->second,
                .role = role == known_.roles.end() ? Role::kNobody : role->second,
                .proof = Proof::kUnixPeer,
                .unix_user = user};
  if (user == 0 || user == ::geteuid()) caller.role = Role::kOperator;
  return caller;
}

// The files are read here, and not at each request, which would be slow; the functions that read them are not made for
// several threads.
UnixPeers::Known UnixPeers::read() const {
  std::optional<Group> operators;
  std::optional<Group> viewers;
  if (groups_.operators) operators = find_group(lists_.groups, *groups_.operators);
  if (groups_.viewers) viewers = find_group(lists_.groups, *groups_.viewers);
  Known known;
  const File file{std::fopen(lists_.users.c_str(), "re")};
  while (const passwd* const entry = file ? ::fgetpwent(file.get()) : nullptr) {
    known.names.emplace(entry->pw_uid, entry->pw_name);
    Role& role = known.roles[entry->pw_uid];
    if (has_member(viewers, *entry)) role = std::max(role, Role::kViewer);
    if (has_member(operators, *entry)) role = Role::kOperator;
  }
  return known;
}

}  // namespace polaiga::web
