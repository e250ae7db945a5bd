// Faults of the filters that have codes and texts of their own. What such a filter
// reports of an event is a row of data, a FaultRule. The functions below write it
// into a record.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <string_view>

#include "framework/decision.h"
#include "framework/framing.h"
#include "framework/text.h"

namespace polaiga {

// A probable cause.
struct Cause {
  std::uint32_t id;
  std::string_view text;
};

inline constexpr Cause kEquipmentInoperable{214, "equipment-inoperable"};
inline constexpr Cause kThermalProblem{215, "thermal-problem"};
inline constexpr Cause kVoltageProblem{216, "voltage-problem"};
inline constexpr Cause kEquipmentDegraded{218, "equipment-degraded"};
inline constexpr Cause kEquipmentMissing{238, "equipment-missing"};
inline constexpr Cause kLinkMissing{242, "link-missing"};
inline constexpr Cause kPsuRedundancyFail{260, "psu-redundancy-fail"};
inline constexpr Cause kPowerProblem{344, "power-problem"};
inline constexpr Cause kEquipmentProblem{348, "equipment-problem"};
inline constexpr Cause kEquipmentOffline{380, "equipment-offline"};
inline constexpr Cause kPerformanceProblem{381, "performance-problem"};
inline constexpr Cause kFruProblem{387, "fru-problem"};
inline constexpr Cause kEquipmentDisabled{388, "equipment-disabled"};
inline constexpr Cause kEquipmentUnhealthy{389, "equipment-unhealthy"};

// A fault, and the probable cause that is reported with it.
struct Fault {
  std::uint32_t code;
  std::string_view name;
  const Cause& cause;
};

// The record's disposition: the level of the fault that the record clears or supersedes.
enum class Disposition : std::uint8_t {
  kRaise = FE_DISPOSITION_RAISE,
  kTransition = FE_DISPOSITION_TRANSITION,
  kPresence = FE_DISPOSITION_PRESENCE_CLEAR,
  kNonCritical = FE_DISPOSITION_NON_CRITICAL,
  kCritical = FE_DISPOSITION_CRITICAL,
  kNonRecoverable = FE_DISPOSITION_NON_RECOVERABLE,
  kPreviousState = 0xFE,         // the low byte of the sensor's last state
  kDispositionUntouched = 0xFF,  // the field is left alone
};

// Which of the record's two fields about the cause of the cleared fault are written.
// A field that is not written keeps the value that the caller's record had.
enum class ClearCause : std::uint8_t { kCauseUntouched, kNumberOnly, kNumberAndText };
using enum ClearCause;

// One row of a decision table: a condition, and what is reported when it holds. When
// a row names no disposition or no clear cause, the record's fields for them are not
// written. When it names no cleared fault, the number of the cleared fault is written
// as 0, and its cause, as far as it is written, as 0 and the empty text.
struct FaultRule {
  Condition when;
  Format descr;  // null: the record's description is not written
  const Fault* fault;
  Disposition disposition = Disposition::kDispositionUntouched;
  const Fault* cleared = nullptr;  // the fault that is cleared or superseded
  ClearCause clear_cause = kCauseUntouched;
  Memory sets = 0;    // bits that are remembered from now on
  Memory clears = 0;  // bits that are forgotten
};

// Writes into the record what the rule says, except code text and fault DN. This
// happens in two parts, which storage calls one by one: apply_fault() writes which
// fault it is and what it clears, apply_description() describes it.
void apply(const FaultRule& rule, fe_fault_record& record, const Insert& insert);
void apply_fault(const FaultRule& rule, fe_fault_record& record);
void apply_description(const FaultRule& rule, fe_fault_record& record, const Insert& insert);

// Writes everything that the rule says, code text and fault DN included. This is the
// last step of most filters that have faults of their own.
std::int32_t report(const FaultRule& rule, fe_fault_record& record, const Insert& insert);

// The bits that are remembered of each of the units `First` to `Last`. Of any other
// unit nothing is remembered, and its bits always read as 0.
template <std::int32_t First, std::int32_t Last, class Bits = std::uint8_t>
struct UnitMemory {
  Bits bits[Last - First + 1];

  static constexpr bool covers(std::int32_t unit) { return First <= unit && unit <= Last; }

  Memory recall(std::int32_t unit) const { return covers(unit) ? bits[unit - First] : Memory{0}; }

  void update(std::int32_t unit, const FaultRule& rule) {
    if (!covers(unit)) return;
    Bits& mine = bits[unit - First];
    mine = static_cast<Bits>((mine | rule.sets) & ~unsigned{rule.clears});
  }
};

}  // namespace polaiga
