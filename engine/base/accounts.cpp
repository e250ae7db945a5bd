#include "base/accounts.h"

#include <grp.h>
#include <pwd.h>

#include <charconv>
#include <cstdio>
#include <memory>

namespace polaiga::engine {
namespace {

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

std::optional<unsigned> number_of(const std::string& name) {
  unsigned number = 0;
  const char* const end = name.data() + name.size();
  const auto [rest, error] = std::from_chars(name.data(), end, number);
  if (error != std::errc() || rest != end) return std::nullopt;
  return number;
}

}  // namespace

std::string user_name(uid_t user) {
  if (const File file{std::fopen("/etc/passwd", "re")}) {
    while (const passwd* const entry = ::fgetpwent(file.get())) {
      if (entry->pw_uid == user) return entry->pw_name;
    }
  }
  return "user " + std::to_string(user);
}

std::string group_name(gid_t group) {
  if (const File file{std::fopen("/etc/group", "re")}) {
    while (const struct group* const entry = ::fgetgrent(file.get())) {
      if (entry->gr_gid == group) return entry->gr_name;
    }
  }
  return "group " + std::to_string(group);
}

std::optional<uid_t> find_user(const std::string& name) {
  if (const File file{std::fopen("/etc/passwd", "re")}) {
    while (const passwd* const entry = ::fgetpwent(file.get())) {
      if (name == entry->pw_name) return entry->pw_uid;
    }
  }
  return number_of(name);
}

std::optional<gid_t> find_group(const std::string& name) {
  if (const File file{std::fopen("/etc/group", "re")}) {
    while (const struct group* const entry = ::fgetgrent(file.get())) {
      if (name == entry->gr_name) return entry->gr_gid;
    }
  }
  return number_of(name);
}

}  // namespace polaiga::engine
