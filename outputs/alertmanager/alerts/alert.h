// What an Alertmanager is told of an alarm.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "alerts/identity.h"
#include "model/alarm_profile.h"
#include "model/change.h"
#include "model/moment.h"
#include "picture/output_alarm.h"

namespace polaiga::alertmanager {

// An Alertmanager takes two alerts with the same labels for one.
struct Alert {
  std::string labels;            // a JSON object
  std::string annotations;       // a JSON object
  std::string link;              // the alarm on the page; "": there is no page
  engine::Moment starts_at = 0;  // when the alarm was raised for the first time
  engine::ChangeNumber alarm = 0;

  bool operator==(const Alert&) const = default;
};

using AlertPointer = std::shared_ptr<const Alert>;

// The object and the code in the DN of a fault; nothing when the DN has none, because it was cut.
struct FaultParts {
  std::string_view dn;
  std::uint32_t code = 0;
};
std::optional<FaultParts> fault_parts(std::string_view fault_dn);

// "F0395".
std::string code_text(std::uint32_t code);

// The labels of the alarm of a fault while it has this severity.
std::string alert_labels(std::string_view dn, std::uint32_t code, engine::Severity severity, const Identity& identity);

// One line for people.
std::string alert_summary(std::string_view dn, std::uint32_t code, engine::Severity severity);

// `entry` is what the site says of the alarm; null: nothing.
Alert alert_of(const output::OutputAlarm& alarm, std::string_view ledger_id, const engine::ProfileEntry* entry,
               const Identity& identity);

// Whether the alarm is an active alert: nobody silenced it, and the site wants people to be notified of it.
bool is_heard(const output::OutputAlarm& alarm, const engine::ProfileEntry* entry);

// One alert of a request.
std::string alert_form(const Alert& alert, engine::Moment starts_at, engine::Moment ends_at);

}  // namespace polaiga::alertmanager
