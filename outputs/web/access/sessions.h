// Those who have logged in.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/secrets.h"
#include "base/clock.h"

namespace polaiga::web {

// What the token of a session is sent as: a cookie or the header X-Auth-Token. It is taken as nothing else.
enum class TokenKind : std::uint8_t { kCookie, kHeader };

// What everybody who may see sessions may know of one.
struct SessionFacts {
  std::string id;
  std::string name;  // of the user
  TokenKind kind = TokenKind::kCookie;
  std::string address;       // where it was opened; empty: over a Unix socket, and no proxy told more
  std::int64_t created = 0;  // seconds since 1970
};

struct SessionLimits {
  std::chrono::seconds idle = std::chrono::hours(1);    // a session ends when it was not used for so long,
  std::chrono::seconds lasts = std::chrono::hours(12);  // and after such a time in any case
  std::size_t most = 256;                               // one more ends the one that was not used for longest
  std::size_t most_per_user = 32;                       // the same among those of one user
};

// For several threads. Of the tokens only their digests are kept.
class Sessions {
 public:
  struct Opened {
    SessionFacts facts;
    std::string token;  // 256 random bits
  };
  // What is needed to see whether the user is still the same.
  struct Found {
    std::string id;
    std::string name;
    std::string proof;
  };

  // The clock must outlive this.
  Sessions(const engine::Clock& clock, const SessionLimits& limits) : clock_(clock), limits_(limits) {}

  // `proof` comes back with find().
  Opened open(const std::string& name, const std::string& proof, TokenKind kind, const std::string& address);

  // Both count as use of the session.
  std::optional<Found> find(std::string_view token, TokenKind kind);
  std::optional<Found> find_by_id(std::string_view id);

  std::vector<SessionFacts> list();
  // Whether there was such a session.
  bool end(std::string_view id);

 private:
  struct Session {
    SessionFacts facts;
    std::string proof;
    engine::Clock::Steady opened{};
    engine::Clock::Steady used{};
  };
  using ByDigest = std::map<Digest, Session>;

  void end_those_whose_time_is_over();
  void make_room(const std::string& name);
  ByDigest::iterator with_id(std::string_view id);
  std::optional<Found> use(ByDigest::iterator session);

  const engine::Clock& clock_;
  SessionLimits limits_;
  std::mutex mutex_;
  ByDigest sessions_;
};

}  // namespace polaiga::web
