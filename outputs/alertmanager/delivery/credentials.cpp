#include "delivery/credentials.h"

#include <algorithm>
#include <stdexcept>

#include "base/printable.h"

namespace polaiga::alertmanager {
namespace {

constexpr std::size_t kMostValueBytes = 4096;

// Whether a value can be part of a header.
bool is_plain(std::string_view value) {
  return std::ranges::all_of(value, [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != '\x7F'; });
}

class Reader {
 public:
  explicit Reader(const std::string& name) : name_(name) {}

  [[noreturn]] void reject(const std::string& what) const {
    throw std::runtime_error(engine::in_quotes(name_) + ", line " + std::to_string(line_) + ": " + what);
  }

  void next() { ++line_; }

  void set(std::string& member, std::string_view value) const {
    if (value.empty()) reject("there is nothing behind the =");
    if (value.size() > kMostValueBytes) reject("a value has at most " + std::to_string(kMostValueBytes) + " bytes");
    if (!is_plain(value)) reject("there is a control character behind the =");
    if (!member.empty()) reject("the same is said twice");
    member = value;
  }

  // What was read of one peer.
  void check(const Credential& one) const {
    if (!one.token.empty() && !(one.user.empty() && one.password.empty())) {
      reject("there are a token and a user or a password; a peer has either");
    }
    if (one.user.empty() != one.password.empty()) reject("a user needs a password, and a password a user");
    if (one.user.find(':') != std::string::npos) reject("a user must not have a colon");
  }

 private:
  const std::string& name_;
  std::size_t line_ = 0;
};

}  // namespace

Credentials::Credentials(std::string_view text, const std::string& name) {
  Reader reader(name);
  Credential* now = &all_;
  while (!text.empty()) {
    reader.next();
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.find_first_not_of(" \t") == std::string_view::npos || line.starts_with('#')) continue;
    const std::size_t equals = line.find('=');
    // A line without = may be a password.
    if (equals == std::string_view::npos) reader.reject("there is no =; write NAME=VALUE, as in user=polaiga");
    const std::string_view key = line.substr(0, equals);
    const std::string_view value = line.substr(equals + 1);
    if (key == "url") {
      reader.check(*now);
      std::string url;
      try {
        url = parse_address(value, Query::kAllowed).url;
      } catch (const std::runtime_error& error) {
        reader.reject(error.what());
      }
      if (of_url_.contains(url)) reader.reject("there is a line with this URL before it");
      now = &of_url_[url];
    } else if (key == "user") {
      reader.set(now->user, value);
    } else if (key == "password") {
      reader.set(now->password, value);
    } else if (key == "token") {
      reader.set(now->token, value);
    } else {
      // What is before the = may be a part of a password.
      reader.reject("what is before the = is none of url, user, password and token");
    }
  }
  reader.check(*now);
}

const Credential& Credentials::of(const Address& address) const {
  const auto found = of_url_.find(address.url);
  return found == of_url_.end() ? all_ : found->second;
}

}  // namespace polaiga::alertmanager
