// What others send: acknowledgements, requests for a replay, and the index that the broker kept. All of it is checked.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "model/change.h"

namespace polaiga::mqtt {

// What is wrong, as a sentence without its full stop.
class BadMessage : public std::runtime_error {
 public:
  explicit BadMessage(const std::string& what, std::string replay_id = {})
      : std::runtime_error(what), replay_id_(std::move(replay_id)) {}

  // That of the request, if it could be read.
  const std::string& replay_id() const { return replay_id_; }

 private:
  std::string replay_id_;
};

inline constexpr std::size_t kMostRequestBytes = 1024;
inline constexpr std::size_t kMostIdBytes = 64;

// A collector has stored all changes up to this one.
struct Ack {
  std::string ledger_id;
  engine::ChangeNumber through = 0;

  bool operator==(const Ack&) const = default;
};

// Changes are to be told again.
struct Replay {
  std::string ledger_id;
  engine::ChangeNumber first = 0;
  engine::ChangeNumber last = 0;
  std::string id;  // "FIRST-LAST" when the request has none

  bool operator==(const Replay&) const = default;
};

// They throw BadMessage.
Ack parse_ack(std::string_view payload);
Replay parse_replay(std::string_view payload);

// The pages that an index names, of which the broker may have kept more than there are now. Ascending; at most
// kMostKeptPages.
inline constexpr std::size_t kMostKeptPages = 4096;
std::vector<std::size_t> parse_kept_pages(std::string_view payload);

}  // namespace polaiga::mqtt
