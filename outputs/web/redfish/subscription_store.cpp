#include "redfish/subscription_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "base/descriptor.h"

namespace polaiga::web {

using engine::Descriptor;
using nlohmann::json;

namespace {

constexpr mode_t kSecret = 0600;

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  throw std::system_error(errno, std::generic_category(), what + " '" + path + "'");
}

auto find_in(auto& subscriptions, const std::string& id) {
  return std::ranges::find(subscriptions, id, &Subscription::id);
}

}  // namespace

SubscriptionStore::SubscriptionStore(const std::string& directory)
    : directory_(directory), file_(directory.empty() ? "" : directory + "/redfish-subscriptions.json") {
  if (!is_enabled()) return;
  struct stat about = {};
  if (::stat(directory_.c_str(), &about) != 0) fail("Cannot use the directory", directory_);
  if (!S_ISDIR(about.st_mode)) throw std::runtime_error("'" + directory_ + "' is no directory");
  if (::access(file_.c_str(), F_OK) == 0) read();
}

void SubscriptionStore::read() {
  std::ifstream in(file_);
  std::stringstream text;
  text << in.rdbuf();
  if (!in) fail("Cannot read", file_);
  try {
    const json stored = json::parse(text.str());
    last_ = stored.at("last").get<std::uint64_t>();
    for (const json& one : stored.at("subscriptions")) subscriptions_.push_back(read_stored(one));
  } catch (const std::exception& error) {
    throw std::runtime_error("The file '" + file_ + "' is not one that this program has written (" + error.what() +
                             "). Repair it, or take it away; then clients must subscribe again");
  }
}

// The file is replaced as a whole, so that it is never half written.
void SubscriptionStore::write(const std::vector<Subscription>& subscriptions) const {
  json stored = {{"last", last_}, {"subscriptions", json::array()}};
  for (const Subscription& one : subscriptions) stored["subscriptions"].push_back(stored_form(one));
  const std::string text = stored.dump(1) + "\n";
  const std::string fresh = file_ + ".new";
  {
    const Descriptor file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, kSecret));
    if (!file.is_open() || ::fchmod(file.get(), kSecret) != 0 ||
        !engine::write_all(file.get(), text.data(), text.size()) || ::fsync(file.get()) != 0) {
      const int error = errno;
      ::unlink(fresh.c_str());  // half of a file would only take room from others
      errno = error;
      fail("Cannot write", fresh);
    }
  }
  if (::rename(fresh.c_str(), file_.c_str()) != 0) fail("Cannot replace", file_);
  const Descriptor directory(::open(directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory.is_open() || ::fsync(directory.get()) != 0) fail("Cannot write", directory_);
}

std::optional<Subscription> SubscriptionStore::add(Subscription subscription) {
  const std::lock_guard alone(writing_);
  auto changed = all();
  if (changed.size() >= kMost) return std::nullopt;
  subscription.id = std::to_string(++last_);
  changed.push_back(subscription);
  write(changed);
  const std::lock_guard lock(mutex_);
  subscriptions_.push_back(subscription);
  return subscription;
}

bool SubscriptionStore::remove(const std::string& id) {
  const std::lock_guard alone(writing_);
  auto changed = all();
  if (std::erase_if(changed, [&](const Subscription& one) { return one.id == id; }) == 0) return false;
  write(changed);
  const std::lock_guard lock(mutex_);
  subscriptions_.erase(find_in(subscriptions_, id));
  return true;
}

bool SubscriptionStore::set_suspended(const std::string& id, bool is_suspended) {
  const std::lock_guard alone(writing_);
  auto changed = all();
  const auto found = find_in(changed, id);
  if (found == changed.end()) return false;
  found->is_suspended = is_suspended;
  write(changed);
  const std::lock_guard lock(mutex_);
  find_in(subscriptions_, id)->is_suspended = is_suspended;
  return true;
}

void SubscriptionStore::advance(const std::string& id, const EventCursor& cursor) {
  const std::lock_guard lock(mutex_);
  const auto found = find_in(subscriptions_, id);
  if (found == subscriptions_.end() || found->cursor == cursor) return;
  found->cursor = cursor;
  is_behind_ = true;
}

bool SubscriptionStore::flush() {
  const std::lock_guard alone(writing_);
  std::vector<Subscription> now;
  {
    const std::lock_guard lock(mutex_);
    if (!std::exchange(is_behind_, false)) return false;
    now = subscriptions_;
  }
  try {
    write(now);
  } catch (...) {
    const std::lock_guard lock(mutex_);
    is_behind_ = true;
    throw;
  }
  return true;
}

std::vector<Subscription> SubscriptionStore::all() const {
  const std::lock_guard lock(mutex_);
  return subscriptions_;
}

std::optional<Subscription> SubscriptionStore::find(const std::string& id) const {
  const std::lock_guard lock(mutex_);
  const auto found = find_in(subscriptions_, id);
  if (found == subscriptions_.end()) return std::nullopt;
  return *found;
}

}  // namespace polaiga::web
