// How an alarm system does: the measures of ISA-18.2 and EEMUA 191, computed from plain facts of alarms. docs/alarms.md
// defines each of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "alarms/chattering.h"
#include "model/change.h"
#include "model/dictionary.h"
#include "model/moment.h"
#include "model/operator_action.h"

namespace polaiga::engine {

inline constexpr Moment kTenMinutes = 600;
inline constexpr Moment kOneHour = 3'600;
inline constexpr Moment kOneDay = 86'400;

// A flood begins with more new alarms in ten minutes than the first, and ends with fewer than the second.
inline constexpr std::size_t kMostBeforeFlood = 10;
inline constexpr std::size_t kLeastInFlood = 5;

inline constexpr Moment kStaleAfter = kOneDay;
inline constexpr std::size_t kWorstOffenders = 10;

// What the measures need to know of one alarm.
struct AlarmFact {
  // One of the faults that were raised for the alarm: a level that it went through.
  struct Raise {
    std::uint32_t code = 0;
    std::string name;
    Moment at = 0;
  };

  // A state that an alarm had since some change.
  struct StateAt {
    ChangeNumber change = 0;
    OperatorState state = OperatorState::kNone;
  };

  ChangeNumber number = 0;
  std::string dn;          // of the object
  std::uint32_t code = 0;  // of its first fault
  std::string name;
  Severity severity = Severity::kIndeterminate;  // now, or the last one when it is over
  Moment created = 0;
  std::optional<Moment> ended;         // none: it is active
  ChangeNumber ended_by = 0;           // the change that ended it
  Sequence ended_seq = 0;              // the input of that change
  bool is_merged = false;              // it ended because it went on as part of another alarm
  Moment reported = 0;                 // the latest report; it does not matter when the alarm is over
  std::optional<Moment> acknowledged;  // or closed, for the first time
  OperatorState state = OperatorState::kNone;
  // After the latest action; none: no operator acted on the alarm.
  std::optional<StateAt> latest_state = {};
  std::optional<CauseStandard> cause = {};  // of its first fault; none: the cause is unknown
  std::vector<Raise> raises;
};

struct Flood {
  Moment began = 0;
  std::optional<Moment> ended;  // none: it goes on
  std::uint64_t alarms = 0;     // that were raised in it
  bool operator==(const Flood&) const = default;
};

// The fault with this code of an object, whether it is active or not.
struct FaultOfObject {
  std::string dn;
  std::uint32_t code = 0;
  std::string name;  // of the code, as the latest raise has it
  bool operator==(const FaultOfObject&) const = default;
};

struct Chattering {
  FaultOfObject fault;
  std::uint64_t most_again = 0;  // how often it was raised again within the limit's time, at most
  std::uint64_t raises = 0;      // in all
  Moment last = 0;               // raise
  bool operator==(const Chattering&) const = default;
};

struct Stale {
  ChangeNumber alarm = 0;
  FaultOfObject fault;
  Severity severity = Severity::kIndeterminate;
  Moment created = 0;
  Moment reported = 0;
  bool operator==(const Stale&) const = default;
};

struct Offender {
  FaultOfObject fault;
  std::uint64_t alarms = 0;
  bool operator==(const Offender&) const = default;
};

// Of several alarms, the mean of a time. Without alarms nobody knows it.
struct MeanTime {
  std::uint64_t alarms = 0;
  Moment seconds = 0;
  bool operator==(const MeanTime&) const = default;
};

struct Measures {
  // Of the alarms that are active now.
  std::uint64_t active = 0;
  std::array<std::uint64_t, 6> active_by_severity{};  // by the number of the Severity
  std::array<std::uint64_t, 5> active_by_state{};     // by the number of the OperatorState
  std::vector<Stale> stale;                           // the one that was reported the longest time ago is the first

  // New alarms, counted back from now.
  std::uint64_t in_ten_minutes = 0;
  std::uint64_t in_hour = 0;
  std::uint64_t in_day = 0;

  // Of the alarms and the faults that were raised in the time looked at.
  std::uint64_t new_alarms = 0;
  std::optional<Moment> first_new;     // when the first of them was raised; none: there is none
  std::vector<Flood> floods;           // in their order
  std::vector<Chattering> chattering;  // the worst first
  std::vector<Offender> worst;         // the same; at most kWorstOffenders
  MeanTime to_acknowledge;
  MeanTime to_clear;
};

// Takes the facts one by one, so that they need not be in memory together. What it keeps are some bytes of each alarm,
// and the names of the objects with their codes.
class Measuring {
 public:
  // Now, and the time looked at: what was raised after `raised_after`; none: all.
  explicit Measuring(Moment now, std::optional<Moment> raised_after = std::nullopt, const ChatteringLimit& limit = {});

  // In any order.
  void add(const AlarmFact& fact);

  Measures result() const;

 private:
  struct Raised {
    std::string name;
    Moment named = 0;  // when the raise happened that the name is from
    std::uint64_t alarms = 0;
    std::vector<Moment> raises;
  };
  // Many times become one mean.
  struct Sum {
    std::uint64_t alarms = 0;
    Moment seconds = 0;
    void add(Moment from, Moment to);
    MeanTime mean() const;
  };
  using ByFault = std::map<std::pair<std::string, std::uint32_t>, Raised, std::less<>>;

  bool is_looked_at(Moment at) const { return !raised_after_ || at > *raised_after_; }
  Raised& raised(const std::string& dn, std::uint32_t code, const std::string& name, Moment at);
  void add_active(const AlarmFact& fact);
  void add_new(const AlarmFact& fact);
  std::vector<Chattering> chattering() const;
  std::vector<Offender> worst() const;

  Moment now_;
  std::optional<Moment> raised_after_;
  ChatteringLimit limit_;
  Measures counted_;  // what can be counted at once
  std::vector<Moment> created_;
  ByFault by_fault_;
  Sum to_acknowledge_;
  Sum to_clear_;
};

}  // namespace polaiga::engine
