// What operators of the fleet ask controllers to do, as rows of the table `action`.
#pragma once

#include <cstdint>
#include <optional>
#include <pqxx/transaction_base>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/moment.h"
#include "model/operator_action.h"

namespace polaiga::fleet {

// The action cannot be asked for. `what` is a sentence without its full stop.
class NotAsked : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An action upon at most so many alarms at once.
inline constexpr std::size_t kMostActedUpon = 10'000;

struct ActionWanted {
  engine::ActionKind kind = engine::ActionKind::kAcknowledge;
  std::vector<std::int64_t> alarms = {};   // their ids in the fleet; empty: those of the group
  std::optional<std::int64_t> group = {};  // all of its active alarms
  // Alarms for which the action is not possible are left out; else one of them refuses all.
  bool is_selection = false;
  std::string comment = {};
  std::int64_t lasts = 0;  // of a shelf, in seconds
  std::string person = {};
  engine::Moment expires = 0;
};

struct AskedAction {
  std::int64_t number = 0;
  std::string site = {};
  std::string controller = {};
  std::string request = {};  // JSON
  std::string person = {};
  engine::Moment asked = 0;
  engine::Moment expires = 0;
  std::optional<engine::Moment> sent = {};
  std::string state = {};  // waiting, done, refused, expired
  std::string why = {};
  std::optional<engine::Moment> ended = {};
};

struct ActionsAsked {
  std::vector<AskedAction> actions =
      {};  // one for each controller, and one for each alarm of the fleet itself; by number
  std::uint64_t alarms = 0;
  std::uint64_t left_out = 0;
};

// Writes one row for each controller that has some of the alarms. Alarms of the fleet itself, which no controller has,
// take acknowledge, unacknowledge and comment; that is done at once, with a row for each of them. Throws NotAsked, and
// then nothing was written.
ActionsAsked ask_for(pqxx::transaction_base& transaction, const ActionWanted& wanted);

struct AskedWanted {
  std::optional<std::int64_t> number = {};  // that one alone
  std::string site = {};
  std::string controller = {};
  std::string state = {};                   // empty: any
  std::optional<std::int64_t> before = {};  // actions with smaller numbers
  std::int64_t limit = 100;
};
// The latest first.
std::vector<AskedAction> read_asked(pqxx::transaction_base& transaction, const AskedWanted& wanted);

}  // namespace polaiga::fleet
