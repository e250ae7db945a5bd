// Fans: presence, speed thresholds, predictive failure. A fan module has two
// tachometers, and each of them is reported as a fan of its own.
#include <polaiga/filters.h>
#include <polaiga/tables.h>

#include "framework/faults.h"

namespace polaiga {
namespace {

constexpr FaultClass kClass{1, 15, 12, 1};

constexpr Fault kMissing{434, "fltEquipmentFanMissing", kEquipmentMissing};
constexpr Fault kSpeedNonCritical{395, "fltEquipmentFanPerfThresholdNonCritical", kPerformanceProblem};
constexpr Fault kSpeedCritical{396, "fltEquipmentFanPerfThresholdCritical", kPerformanceProblem};
constexpr Fault kSpeedNonRecoverable{397, "fltEquipmentFanPerfThresholdNonRecoverable", kPerformanceProblem};
constexpr Fault kDegraded{371, "fltEquipmentFanDegraded", kEquipmentDegraded};

// What is remembered of each fan. While a fan is missing, none of its other faults
// is reported. The other bits are kept, but no rule asks for them.
constexpr Memory kIsMissing = 1 << 0;
constexpr Memory kIsNonCritical = 1 << 4;
constexpr Memory kIsCritical = 1 << 5;
constexpr Memory kIsNonRecoverable = 1 << 6;
constinit UnitMemory<1, 20> fan_state = {};

// Two groups of sensors: those in the exceptional fan list, and all others.
constexpr Sensors kListed = 1 << 0;
constexpr Sensors kUnlisted = 1 << 1;

using enum Disposition;

// The blanks in front of colons and at the end, and the missing hyphens, belong to
// the texts. Offset 4 with state 4, and offset 5 with state 5, mean that the speed has
// risen by one level. No other state of these two offsets is a clear, not even 0.
// clang-format off
constexpr FaultRule kRules[] = {
    // Both rows leave the text of the clear cause as it is: intended.
    {.when = {.offsets = {1, 2}, .states = kAsserted},
     .descr = "%s: Fan %d missing: reseat or replace fan %d",
     .fault = &kMissing, .disposition = kRaise, .clear_cause = kNumberOnly, .sets = kIsMissing},
    {.when = {.offsets = {1, 2}, .states = kDeasserted},
     .descr = "%s: Fan %d missing: Cleared",
     .fault = &kMissing, .disposition = kPresence, .cleared = &kMissing, .clear_cause = kNumberOnly, .clears = kIsMissing},

    {.when = {.offsets = 3, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: Fan speed for fan-%d is lower non critical : Check the air intake to the server ",
     .fault = &kSpeedNonCritical, .disposition = kRaise, .clear_cause = kNumberAndText, .sets = kIsNonCritical},
    {.when = {.offsets = 3, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "%s: Fan speed for fan-%d is lower non critical : Cleared ",
     .fault = &kSpeedNonCritical, .disposition = kNonCritical, .cleared = &kSpeedNonCritical, .clear_cause = kNumberAndText, .clears = kIsNonCritical},

    {.when = {.offsets = 4, .states = only(4), .none_of = kIsMissing},
     .descr = "%s: Fan speed for fan-%d is lower non critical : Check the air intake to the server ",
     .fault = &kSpeedNonCritical, .disposition = kCritical, .cleared = &kSpeedCritical, .clear_cause = kNumberAndText, .clears = kIsCritical},
    {.when = {.offsets = 4, .states = except(0, 4), .none_of = kIsMissing},
     .descr = "%s: Fan speed for fan-%d is lower critical : Check the air intake to the server ",
     .fault = &kSpeedCritical, .disposition = kNonCritical, .cleared = &kSpeedNonCritical, .clear_cause = kNumberAndText, .sets = kIsCritical},
    // The text says "Cleared", yet the row raises the fault: intended.
    {.when = {.offsets = 4, .states = kDeasserted, .sensors = kListed, .none_of = kIsMissing},
     .descr = "%s: Fan speed for fan-%d is lower critical : Cleared ",
     .fault = &kSpeedCritical, .disposition = kNonCritical, .cleared = &kSpeedNonCritical, .clear_cause = kNumberAndText, .sets = kIsCritical},
    {.when = {.offsets = 4, .states = kDeasserted, .sensors = kUnlisted, .none_of = kIsMissing},
     .descr = nullptr,
     .fault = &kSpeedCritical, .disposition = kNonCritical, .cleared = &kSpeedNonCritical, .clear_cause = kNumberAndText, .sets = kIsCritical},

    {.when = {.offsets = 5, .states = only(5), .none_of = kIsMissing},
     .descr = "%s: Fan speed for fan-%d is lower critical : Check the air intake to the server ",
     .fault = &kSpeedCritical, .disposition = kNonRecoverable, .cleared = &kSpeedNonRecoverable, .clear_cause = kNumberAndText, .clears = kIsNonRecoverable},
    {.when = {.offsets = 5, .states = except(5), .none_of = kIsMissing},
     .descr = "%s: Fan speed for fan-%d is lower non recoverable : Check the air intake to the server ",
     .fault = &kSpeedNonRecoverable, .disposition = kCritical, .cleared = &kSpeedCritical, .clear_cause = kNumberAndText, .sets = kIsNonRecoverable},

    {.when = {.offsets = {9, 10}, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: Fan %d has asserted a predictive failure: reseat or replace fan %d",
     .fault = &kDegraded, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = {9, 10}, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "%s: Fan %d predictive failure: Cleared",
     .fault = &kDegraded, .disposition = kPresence, .cleared = &kDegraded, .clear_cause = kNumberAndText},
};
static_assert(decides_once(kRules));
// clang-format on

// The fan that a sensor of a fan module stands for.
struct Fan {
  std::int32_t number;
  std::string_view tachometer;
};

Fan fan_of(std::int32_t module, std::string_view sensor) {
  const std::uint32_t twice = static_cast<std::uint32_t>(module) * 2;
  if (contains(sensor, "TACH1")) return {static_cast<std::int32_t>(twice - 1), "1"};
  if (contains(sensor, "TACH2")) return {static_cast<std::int32_t>(twice), "2"};
  return {module, "1"};  // a speed sensor has the number of its module, and shares that fan's memory: intended
}

}  // namespace
}  // namespace polaiga

std::int32_t process_fan_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  fe_fault_record* const record = open_record(ev, out);
  if (record == nullptr) return kNoFault;
  const std::int32_t module = ev->entity_instance;
  const Fan fan = fan_of(module, sensor_name(record->event));
  record->event.entity_instance = fan.number;
  write_oid(*record, kClass);
  write_key(*record);
  TextWriter(record->dn)
      .add_literal("sys/rack-unit-1/fan-module-1-")
      .add_number(module)
      .add_literal("/fan-")
      .add(fan.tachometer);
  TextWriter(record->rn).add_literal("fan-module-1-").add_number(module).add_literal("/fan-").add(fan.tachometer);
  stamp_event(*record, *ev);

  const std::int32_t id = expectional_fan_sensor_lookup(sensor_name(record->event).data());
  const FaultRule* rule = decide(kRules, {.offset = ev->event_offset,
                                          .state = ev->event_state,
                                          .sensors = id >= 1 && id <= 18 ? kListed : kUnlisted,
                                          .memory = fan_state.recall(fan.number)});
  if (rule == nullptr) return kNoFault;
  fan_state.update(fan.number, *rule);
  return report(*rule, *record, {.first = sensor_name(*ev), .number = fan.number});
}
