#include "follow/state_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "base/printable.h"
#include "base/private_file.h"
#include "follow/state_text.h"

namespace polaiga::ipmi {
namespace {

constexpr std::string_view kWhat = "the state file";

bool exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::symlink_status(path, error).type() != std::filesystem::file_type::not_found;
}

// Another name for a file. Where the path is a link, its file gets the name: a link would lead to whatever is written
// there later. Answers whether that worked.
bool give_name(const std::string& path, const std::string& name) {
  ::unlink(name.c_str());
  return ::linkat(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

// Nothing: it is damaged, and `why` says how.
std::optional<State> parse(const std::string& text, std::string& why) {
  try {
    return parse_state(text);
  } catch (const BadState& error) {
    why = error.what();
    return std::nullopt;
  }
}

// Gives a damaged file another name, under which people can look at it. One that had it before is replaced.
std::string set_aside(const std::string& path) {
  std::string aside = path + ".damaged";
  if (give_name(path, aside)) return aside;
  throw std::runtime_error("the damaged state file " + engine::in_quotes(path) + " cannot be kept as " +
                           engine::in_quotes(aside) + ": " + std::strerror(errno));
}

}  // namespace

StateFile::StateFile(std::string path) : path_(std::move(path)), before_(path_ + ".before") {
  engine::check_replaceable(path_);
  const std::string lock = path_ + ".lock";
  lock_ = engine::Descriptor(::open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
  if (!lock_.is_open()) {
    throw std::runtime_error("cannot make the file " + engine::in_quotes(lock) + ": " + std::strerror(errno));
  }
  if (::flock(lock_.get(), LOCK_EX | LOCK_NB) == 0) return;
  if (errno != EWOULDBLOCK) {
    throw std::runtime_error("cannot lock the file " + engine::in_quotes(lock) + ": " + std::strerror(errno));
  }
  throw std::runtime_error("another polaiga-ipmi uses the state file " + engine::in_quotes(path_) +
                           "; give each of them a file of its own with --state");
}

State StateFile::load(const Tell& tell) const {
  if (!exists(path_)) return {};
  std::string why;
  if (auto state = parse(engine::read_private_file(path_, kWhat), why)) return *state;
  const std::string aside = set_aside(path_);
  const std::string damaged = "the state file " + engine::in_quotes(path_) + " is damaged: " + why +
                              "; it is kept as " + engine::in_quotes(aside);
  std::optional<State> before;
  if (exists(before_)) before = parse(engine::read_private_file(before_, kWhat), why);
  if (!before) {
    ::unlink(path_.c_str());
    tell(damaged +
         ". What the engine was told is not known any more: the present state of all sensors is told anew, and a fault "
         "that has ended meanwhile stays until it is closed by hand (polaiga close)");
    return {};
  }
  tell(damaged + ". The state that was saved before it is taken, and what came since is read again");
  // What was made since then had ids of its epoch. They must not be used again for anything else.
  before->position.wants_new_epoch = true;
  engine::replace_private_file(path_, state_text(*before));
  return *before;
}

void StateFile::save(const State& state) {
  const std::string text = state_text(state);
  // The last state gets a second name, which is kept when the new one has taken its place. So there is always a whole
  // one before the last, also while the disk is full.
  const std::string last = path_ + ".last";
  const bool is_linked = give_name(path_, last);
  try {
    engine::replace_private_file(path_, text);
  } catch (...) {
    if (is_linked) ::unlink(last.c_str());
    throw;
  }
  if (is_linked) [[maybe_unused]]
    const int renamed = std::rename(last.c_str(), before_.c_str());
}

}  // namespace polaiga::ipmi
