// Add-in cards (adaptors): presence and temperature. The trusted platform module
// counts as one of them.
#include <polaiga/filters.h>
#include <polaiga/services.h>

#include <cstring>

#include "framework/shared_faults.h"
#include "tables/platform_names.h"

namespace polaiga {
namespace {

constexpr FaultClass kClass{1, 15, 30, 1};

constexpr Fault kMissing{203, "fltAdaptorUnitMissing", kEquipmentMissing};
constexpr Fault kOverheated{379, "fltEquipmentIOCardThermalProblem", kThermalProblem};
constexpr Fault kTpmMismatch{1783, "fltEquipmentTpmTpmMismatch", kEquipmentInoperable};

// What is remembered of each card; cards may be counted from 0. While a card is
// missing, none of its other faults is reported, not even the mismatch of the trusted
// platform module: intended.
constexpr Memory kIsMissing = 1 << 0;
constinit UnitMemory<0, 256> adaptor_presence_bits = {};

using enum Disposition;

// The first "%s" stands for the sensor, every other one for the card's label. Offsets
// 109 and 110 have no clear: their state 0 raises a fault, as their other states do. The
// blanks in front of colons and at the end belong to the texts, and differ between them.
// All of this is intended.
// clang-format off
constexpr FaultRule kRules[] = {
    {.when = {.offsets = 63, .states = kAsserted},
     .descr = "%s: %s missing: reseat or replace %s",
     .fault = &kMissing, .disposition = kRaise, .clear_cause = kNumberOnly, .sets = kIsMissing},
    {.when = {.offsets = 63, .states = kDeasserted},
     .descr = "%s: %s missing: Cleared",
     .fault = &kMissing, .disposition = kPresence, .cleared = &kMissing, .clear_cause = kNumberOnly, .clears = kIsMissing},

    {.when = {.offsets = 108, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: %s Temperature is upper non critical : Check Cooling ",
     .fault = &kIoCardNonCritical, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 108, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "%s: %s Temperature is upper non critical : Cleared ",
     .fault = &kIoCardNonCritical, .disposition = kNonCritical, .cleared = &kIoCardNonCritical, .clear_cause = kNumberAndText},
    {.when = {.offsets = 109, .states = only(4), .none_of = kIsMissing},
     .descr = "%s: %s Temperature is upper non critical : Check Cooling ",
     .fault = &kIoCardNonCritical, .disposition = kCritical, .cleared = &kIoCardCritical, .clear_cause = kNumberAndText},
    {.when = {.offsets = 109, .states = except(4), .none_of = kIsMissing},
     .descr = "%s: %s Temperature is upper critical : Check Cooling",
     .fault = &kIoCardCritical, .disposition = kNonCritical, .cleared = &kIoCardNonCritical, .clear_cause = kNumberAndText},
    {.when = {.offsets = 110, .states = only(5), .none_of = kIsMissing},
     .descr = "%s: %s Temperature is upper critical : Check Cooling ",
     .fault = &kIoCardCritical, .disposition = kNonRecoverable, .cleared = &kIoCardNonRecoverable, .clear_cause = kNumberAndText},
    {.when = {.offsets = 110, .states = except(5), .none_of = kIsMissing},
     .descr = "%s: %s Temperature is upper non recoverable : Check Cooling ",
     .fault = &kIoCardNonRecoverable, .disposition = kCritical, .cleared = &kIoCardCritical, .clear_cause = kNumberAndText},

    {.when = {.offsets = 111, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: %s is inoperable due to high temperature : Check Cooling",
     .fault = &kOverheated, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 111, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "%s: %s is inoperable due to high temperature  : Cleared",
     .fault = &kOverheated, .disposition = kCritical, .cleared = &kOverheated, .clear_cause = kNumberAndText},

    {.when = {.offsets = 127, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: Check TPM, either wrong TPM version installed for CPU type or previously installed TPM has been removed",
     .fault = &kTpmMismatch, .disposition = kRaise, .clear_cause = kNumberAndText},
    // The clear has the text of the raise: intended.
    {.when = {.offsets = 127, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "%s: Check TPM, either wrong TPM version installed for CPU type or previously installed TPM has been removed",
     .fault = &kTpmMismatch, .disposition = kPresence, .cleared = &kTpmMismatch, .clear_cause = kNumberAndText},
};
static_assert(decides_once(kRules));
// clang-format on

// Returns the engine's name of a card, which has the form "rn:label", or null when the
// engine has no name for it.
const char* engine_name(const fe_sensor_event& event) {
  const auto instance = static_cast<std::uint32_t>(event.entity_instance);
  const std::uint32_t adjusted = fe_sdr_instance_array[event.entity_id] == 1 ? instance : instance - 1;
  return translate_user_entity_instance(adaptor_name_table, g_platform, static_cast<std::int32_t>(adjusted));
}

}  // namespace
}  // namespace polaiga

std::int32_t process_add_in_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  fe_fault_record* const record = open_record(ev, out);
  if (record == nullptr) return kNoFault;
  const std::uint8_t arcs = write_oid_arcs(*record, kClass);
  const std::int32_t card = ev->entity_instance;
  char rn[50];
  char own_label[sizeof "Add-in Card -2147483648"];
  std::string_view label;
  if (const char* name = engine_name(*ev)) {
    const char* const colon = std::strchr(name, ':');
    write_text(rn, colon != nullptr ? std::string_view(name, static_cast<std::size_t>(colon - name)) : name);
    label = colon != nullptr ? colon + 1 : "";
  } else {
    TextWriter(rn).add_literal("adaptor-").add_number(card);
    TextWriter(own_label).add_literal("Add-in Card ").add_number(card);
    label = own_label;
  }
  write_key(*record);
  record->oid_len = arcs;
  TextWriter(record->dn).add_literal("sys/rack-unit-1/").add(rn);
  write_text(record->rn, rn);
  stamp_event(*record, *ev);

  const FaultRule* rule = decide(
      kRules, {.offset = ev->event_offset, .state = ev->event_state, .memory = adaptor_presence_bits.recall(card)});
  if (rule == nullptr) return kNoFault;
  adaptor_presence_bits.update(card, *rule);
  return report(*rule, *record, {.first = sensor_name(*ev), .further = label});
}
