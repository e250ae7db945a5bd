// What others send: acknowledgements, requests for a replay, actions of operators, and the index that the broker kept.
// All of it is checked.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "model/change.h"
#include "model/moment.h"

namespace polaiga::mqtt {

// What is wrong, as a sentence without its full stop.
class BadMessage : public std::runtime_error {
 public:
  explicit BadMessage(const std::string& what, std::string id = {}) : std::runtime_error(what), id_(std::move(id)) {}

  // That of the message, if it could be read.
  const std::string& id() const { return id_; }

 private:
  std::string id_;
};

inline constexpr std::size_t kMostRequestBytes = 1024;
inline constexpr std::size_t kMostActionBytes = std::size_t{96} * 1024;  // 10,000 alarms
inline constexpr std::size_t kMostIdBytes = 64;

// A collector has stored all changes up to this one.
struct Ack {
  std::string ledger_id;
  engine::ChangeNumber through = 0;

  bool operator==(const Ack&) const = default;
};

// Changes are to be told again, or the active alarms are to be told.
struct Replay {
  std::string ledger_id;
  engine::ChangeNumber first = 0;  // of the changes
  engine::ChangeNumber last = 0;
  std::string id = {};                                    // "FIRST-LAST" or "alarms-AFTER" when the request has none
  std::optional<engine::ChangeNumber> alarms_after = {};  // the alarms after this one; nothing: it is about changes

  bool operator==(const Replay&) const = default;
};

// An operator of the fleet acts on alarms, or on an object, of this controller.
struct Action {
  std::string id;  // what comes again under it is done once
  std::string ledger_id;
  engine::Moment expires = 0;  // it is not done after this time
  std::string request;         // for the engine's control socket, in the person's name: one line, without its end

  bool operator==(const Action&) const = default;
};

// They throw BadMessage.
Ack parse_ack(std::string_view payload);
Replay parse_replay(std::string_view payload);
Action parse_action(std::string_view payload);

// The pages that an index names, of which the broker may have kept more than there are now. Ascending; at most
// kMostKeptPages.
inline constexpr std::size_t kMostKeptPages = 4096;
std::vector<std::size_t> parse_kept_pages(std::string_view payload);

}  // namespace polaiga::mqtt
