// Alarms in the form of RFC 8632: JSON output for the YANG module ietf-alarms in the JSON of
// RFC 7951. The types of the alarms are those of packaging/yang/polaiga-alarm-types.yang.
//
// In RFC 8632 a resource and an alarm type name an alarm for ever, whatever its severity.
// So all levels of a fault that take the place of each other are one type: its qualifier
// names their codes. Alarms of the ledger that have the same object and the same type are
// one alarm here, whether one came after the other or both were active at once.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "alarms/measures.h"
#include "ledger/told_alarms.h"
#include "model/dictionary.h"
#include "report/json_object.h"

namespace polaiga::engine {

// A type of alarms, as it stands in keys.
struct AlarmTypeName {
  std::string_view identity;
  std::string qualifier;

  bool operator==(const AlarmTypeName&) const = default;
  bool operator<(const AlarmTypeName& other) const {
    return std::tie(identity, qualifier) < std::tie(other.identity, other.qualifier);
  }
};

struct AlarmType {
  std::set<Severity> severities;
  bool will_clear = false;  // whether an event can end its faults
  std::string description;
};

// The types that there can be.
struct AlarmTypes {
  // By the code of a fault; a code that is not here is a type by itself.
  std::map<std::uint32_t, std::string> qualifiers;
  std::map<AlarmTypeName, AlarmType> inventory;

  std::string qualifier_of(std::uint32_t code) const;
};

// The identity for a cause: one for each event type of X.733, and one for causes that
// are unknown.
std::string_view alarm_identity(const std::optional<CauseStandard>& cause);

// How many alarms there are by severity, without those that are shelved.
class AlarmSummary {
 public:
  void add(Severity severity, bool is_cleared, bool is_closed);
  void add_shelved() { has_shelved_ = true; }

  // The container "summary".
  JsonObject form() const;

 private:
  struct Counts {
    std::uint64_t cleared_closed = 0;
    std::uint64_t cleared_not_closed = 0;
    std::uint64_t not_cleared_closed = 0;
    std::uint64_t not_cleared_not_closed = 0;
  };

  std::array<Counts, static_cast<std::size_t>(Severity::kCritical) + 1> counts_;
  bool has_shelved_ = false;
};

// Tells of alarms of the ledger that are one alarm here whether it is raised again.
class RaisesAgain {
 public:
  // Of the next alarm: whether all alarms before it were over when it was raised, and there is one. They come in the
  // order of their numbers. `ended_by` is the change that ended the alarm; none: it is active.
  bool add(ChangeNumber alarm, const std::optional<ChangeNumber>& ended_by);

 private:
  bool is_first_ = true;
  bool are_over_ = false;
  ChangeNumber last_end_ = 0;
};

// Makes the summary of any number of alarms without keeping them: the same as in the JSON output of them.
class AlarmSumming {
 public:
  explicit AlarmSumming(const AlarmTypes& types) : types_(types) {}

  // In the order of their numbers.
  void add(const AlarmFact& fact);
  AlarmSummary summary() const;

 private:
  // Alarms of the ledger that are one alarm here.
  struct Same {
    RaisesAgain raises;
    bool is_active = false;
    Severity severity = Severity::kCleared;
    Sequence ended_seq = 0;  // of the last that ended
    AlarmFact::StateAt state;
  };

  static void add_severity(Same& same, const AlarmFact& fact);

  const AlarmTypes& types_;
  std::map<std::pair<std::string, AlarmTypeName>, Same> alarms_;  // by object and type
};

// The JSON output of the alarms, the inventory and the summary; it ends with a new line.
std::string rfc8632_document(const ToldAlarms& told, const AlarmTypes& types);

// The JSON output of the summary alone.
std::string rfc8632_document(const AlarmSummary& summary);

}  // namespace polaiga::engine
