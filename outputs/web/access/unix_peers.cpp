#include "access/unix_peers.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
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

// Null: there is no such list. One that is there and cannot be read is not the same as an empty one.
File open_list(const std::string& list) {
  File file{std::fopen(list.c_str(), "re")};
  if (!file && errno != ENOENT) throw std::runtime_error("cannot read " + list + ": " + std::strerror(errno));
  return file;
}

// After its last entry.
void expect_whole(std::FILE* file, const std::string& list) {
  if (std::ferror(file) != 0) throw std::runtime_error("cannot read " + list + " to its end");
}

struct Group {
  gid_t number = 0;
  std::vector<std::string> members;
};

Group find_group(const std::string& list, const std::string& name) {
  if (const File file = open_list(list)) {
    while (const struct group* const entry = ::fgetgrent(file.get())) {
      if (name != entry->gr_name) continue;
      Group found{.number = entry->gr_gid, .members = {}};
      for (char** member = entry->gr_mem; *member != nullptr; ++member) found.members.emplace_back(*member);
      return found;
    }
    expect_whole(file.get(), list);
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
  const File file = open_list(lists_.users);
  if (!file) return known;
  while (const passwd* const entry = ::fgetpwent(file.get())) {
    known.names.emplace(entry->pw_uid, entry->pw_name);
    Role& role = known.roles[entry->pw_uid];
    if (has_member(viewers, *entry)) role = std::max(role, Role::kViewer);
    if (has_member(operators, *entry)) role = Role::kOperator;
  }
  expect_whole(file.get(), lists_.users);
  return known;
}

}  // namespace polaiga::web
