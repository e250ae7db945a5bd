#include "access/passwd_command.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>

#include "access/names.h"
#include "access/new_password.h"
#include "access/password_hash.h"
#include "access/users.h"
#include "base/messages.h"
#include "base/printable.h"
#include "base/private_file.h"

namespace polaiga::web {
namespace {

constexpr const char* kWhat = "the users file";

struct Change {
  std::string path;
  std::string name;
  std::string role;
  bool deletes = false;
  bool has_no_password = false;
  bool keeps_password = false;
};

std::string text_of(const std::string& path) {
  return ::access(path.c_str(), F_OK) == 0 ? engine::read_private_file(path, kWhat) : std::string();
}

// The user with what the command line wants to be changed. The file is not locked while a person types the password,
// since that may take long; it is read again when it is changed.
User wanted(const Change& change) {
  const std::string text = text_of(change.path);
  const Users users = parse_users(text, change.path);
  const auto former = users.find(change.name);
  User user{.name = change.name, .role = Role::kViewer, .hash = {}};
  if (former != users.end()) user = former->second;
  if (!change.role.empty()) user.role = find_role(change.role).value_or(Role::kViewer);
  if (change.keeps_password && former == users.end()) {
    throw std::runtime_error("there is no user " + engine::in_quotes(change.name) + " whose password could stay");
  }
  if (change.has_no_password) {
    user.hash.clear();
  } else if (!change.keeps_password) {
    user.hash = hash_password(ask_new_password(change.name).view());
  }
  return user;
}

void say_done(const std::string& what) {
  std::printf("%s. A server that runs takes it over at 'systemctl reload polaiga-web' or the signal SIGHUP.\n",
              engine::printable(what).c_str());
}

void remove_user(const Change& change) {
  const engine::FileLock lock(change.path);
  const std::string text = engine::read_private_file(change.path, kWhat);
  if (!parse_users(text, change.path).contains(change.name)) {
    throw std::runtime_error("there is no user " + engine::in_quotes(change.name));
  }
  engine::replace_private_file(change.path, without_user(text, change.name));
  say_done(engine::in_quotes(change.name) + " is no user any more");
}

void set_user(const Change& change) {
  engine::check_replaceable(change.path);  // before a person types a password
  const User user = wanted(change);
  const engine::FileLock lock(change.path);
  const bool is_new = ::access(change.path.c_str(), F_OK) != 0;
  const std::string text = with_user(text_of(change.path), user);
  parse_users(text, change.path);
  engine::replace_private_file(change.path, text);
  say_done(engine::in_quotes(user.name) + " is a user with the role " + std::string(role_name(user.role)));
  if (is_new && ::geteuid() == 0) {
    std::printf(
        "The new file belongs to root; a server that runs as another user cannot read it before you type: "
        "chown USER %s\n",
        engine::in_quotes(change.path).c_str());
  }
}

}  // namespace

int passwd_command(int argc, char** argv) {
  CLI::App program(
      "Adds or changes a user of polaiga-web. The password is typed at the terminal, or is the first line of standard "
      "input when that is no terminal",
      "polaiga-web passwd");
  Change change;
  program.add_option("--users", change.path, "The file of users; it is made if it is not there")->required();
  program.add_option("--role", change.role, "viewer or operator; a new user is a viewer, others keep what they are")
      ->check(CLI::IsMember({"viewer", "operator"}));
  auto* const deletes = program.add_flag("--delete", change.deletes, "Take the user away");
  auto* const none = program.add_flag("--no-password", change.has_no_password,
                                      "The user comes with a client certificate or through a proxy alone");
  auto* const keeps = program.add_flag("--keep-password", change.keeps_password, "Change the role alone");
  deletes->excludes(none)->excludes(keeps);
  none->excludes(keeps);
  program.add_option("NAME", change.name, "Name of the user")->required();
  try {
    program.parse(argc, argv);
    if (!is_user_name(change.name)) {
      throw std::runtime_error(
          "a name has 1 to " + std::to_string(kLongestUserName) +
          " bytes of UTF-8 that can be shown, no colon, no # at its begin and no space at its ends");
    }
    change.deletes ? remove_user(change) : set_user(change);
    return 0;
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : 2;
  } catch (const std::exception& error) {
    engine::say(error.what());
    return 2;
  }
}

}  // namespace polaiga::web
