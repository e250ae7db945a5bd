// Hand-written faults: what a filter that carries its own codes and texts says
// about an event, as rows of data, and the one step that writes such a row.
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

// A fault with the cause that it is reported with.
struct Fault {
  std::uint32_t code;
  std::string_view name;
  const Cause& cause;
};

// Level of the fault that a record clears or supersedes.
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

// How much the record says of the cause of the fault that is cleared. The rest
// of its two fields is left alone.
enum class ClearCause : std::uint8_t { kCauseUntouched, kNumberOnly, kNumberAndText };
using enum ClearCause;

// One line of a decision table. A rule that names no disposition and no cause
// leaves those fields alone. One that clears nothing writes 0 for the code, and
// 0 and the empty text for as much of the cause as it writes.
struct FaultRule {
  Condition when;
  Format descr;  // null: the text is left alone
  const Fault* fault;
  Disposition disposition = Disposition::kDispositionUntouched;
  const Fault* cleared = nullptr;  // the fault that is cleared or superseded
  ClearCause clear_cause = kCauseUntouched;
  Memory sets = 0;    // what is remembered from now on
  Memory clears = 0;  // what is forgotten
};

// Writes what the rule says into the record, all but code text and fault DN. Its
// two parts can be written apart: which fault it is and what it clears, and what
// describes it.
void apply(const FaultRule& rule, fe_fault_record& record, const Insert& insert);
void apply_fault(const FaultRule& rule, fe_fault_record& record);
void apply_description(const FaultRule& rule, fe_fault_record& record, const Insert& insert);

// The last step of a hand-written filter: writes all that the rule says.
std::int32_t report(const FaultRule& rule, fe_fault_record& record, const Insert& insert);

// Remembered bits of the units `First` to `Last`. Others have none, and nothing
// is remembered of them.
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
