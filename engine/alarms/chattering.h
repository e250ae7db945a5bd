// Which faults are chattering: raised again and again within a short time. docs/alarms.md tells what it means, and
// where the idea is from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "model/change.h"
#include "model/dictionary.h"
#include "model/moment.h"

namespace polaiga::engine {

// A fault begins to chatter when it is raised again more than `times` within less than `within` seconds. It has settled
// when it was not raised for `within` seconds.
struct ChatteringLimit {
  std::uint64_t times = 5;
  Moment within = 600;
};

inline constexpr std::uint64_t kMostChatteringTimes = 100;  // the watch remembers so many raises of each fault

// A fault that is chattering. Meanwhile most of its alarms begin and end without outputs being told. They take the
// first of them for active all the time: the alarm that is shown.
struct ChatteringFault {
  std::string fault_dn;
  ChangeNumber change = 0;  // that says that it is chattering
  Moment since = 0;
  std::uint64_t raises = 0;                      // with those that made it chattering
  std::int64_t last_age = 0;                     // of the latest raise: an age of the ledger, in seconds
  ChangeNumber alarm = 0;                        // the latest that the fault belonged to
  ChangeNumber shown_alarm = 0;                  // that outputs take for active; 0: none
  Severity shown_severity = Severity::kCleared;  // that they take it to have
  bool was_told = false;                         // outputs know of any of it
  // Known in memory alone, to save looking for the alarms; false: perhaps they are over.
  bool alarm_is_over = false;
  bool shown_is_over = false;

  bool operator==(const ChatteringFault&) const = default;
};

// Remembers the latest raises of faults, as long as they matter. Its memory is bounded: it watches at most so many
// faults, and forgets those first that were not raised for the longest time. One that is chattering is not forgotten;
// when so many are, no other one begins.
class ChatteringWatch {
 public:
  explicit ChatteringWatch(std::size_t most_faults) : most_faults_(most_faults) {}

  // Without a limit no fault begins to chatter, and those that are chattering settle at once.
  void set_limit(const std::optional<ChatteringLimit>& limit) { limit_ = limit; }

  // Notes a raise. Answers the fault when it is chattering or begins to; its `change` is 0 when it begins. Pointers
  // last until the fault settles.
  ChatteringFault* raise(std::string_view fault_dn, std::int64_t age);

  // Null when the fault is not chattering.
  ChatteringFault* find(std::string_view fault_dn);

  // The chattering fault for whose sake outputs take the alarm for active; null: there is none.
  ChatteringFault* shows(ChangeNumber alarm) const;

  // Outputs take this alarm of the fault for active from now on, or nothing any more.
  void show(ChatteringFault& fault, ChangeNumber alarm, Severity severity);
  void hide(ChatteringFault& fault);

  // An alarm goes on as part of another one.
  void merge(ChangeNumber alarm, ChangeNumber into);

  // The fault is not chattering any more.
  void settle(std::string_view fault_dn);

  // What was changed since the last call: chattering faults as they are now; nothing: it has settled.
  using Changes = std::map<std::string, std::optional<ChatteringFault>>;
  Changes take_changes();

  // When the next one settles, as an age of the ledger; nothing: none is chattering.
  std::optional<std::int64_t> next_end() const;
  // Those that have settled at this age, the earliest first; at most so many.
  std::vector<std::string> over(std::int64_t age, std::size_t most) const;

  std::size_t size() const { return chattering_.size(); }
  // How many faults that are not chattering it remembers raises of.
  std::size_t watched() const { return order_.size(); }

  // Takes up what an earlier run left, in the order of the last raises or of the raises.
  ChatteringFault& restore(ChatteringFault fault);
  void restore_raise(std::string_view fault_dn, std::int64_t age);

 private:
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  using ByLastRaise = std::list<ChatteringFault>;
  struct LastRaise {
    const std::string* fault_dn;
    std::int64_t age;
  };
  using Order = std::list<LastRaise>;
  struct Watched {
    std::vector<std::int64_t> ages = {};        // of the latest raises; none when it is chattering
    std::optional<Order::iterator> place = {};  // in order_; nothing when it is chattering
    std::optional<ByLastRaise::iterator> chattering = {};
  };
  using Faults = std::unordered_map<std::string, Watched, Hash, std::equal_to<>>;

  Faults::iterator note(Faults::iterator found, std::string_view fault_dn, std::int64_t age);
  bool begins(const Watched& watched) const;
  void forget_old(std::int64_t age);
  void forget_oldest();

  std::size_t most_faults_;
  std::optional<ChatteringLimit> limit_;
  Faults faults_;           // by DN
  Order order_;             // of those that are not chattering; the one that was raised last is the last
  ByLastRaise chattering_;  // the one that was raised last is the last
  std::unordered_map<ChangeNumber, ChatteringFault*> shown_;  // by the alarm that is shown
  std::set<std::string, std::less<>> changed_;                // DNs
};

}  // namespace polaiga::engine
