// An alarm as publishers tell it, in little memory.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ledger/change_feed.h"
#include "model/alarm_profile.h"
#include "model/dictionary.h"
#include "report/json_object.h"

namespace polaiga::output {

struct OutputAlarm {
  engine::ChangeNumber number = 0;  // of its first raise; with the ledger's id it names the alarm for ever
  engine::ChangeNumber fault = 0;   // the change that raised the fault that it has now
  std::string fault_dn = {};
  std::string dn = {};  // of the object
  std::uint32_t code = 0;
  std::string name = {};  // of the code
  engine::Severity severity = engine::Severity::kIndeterminate;
  engine::Moment created = 0;  // the first raise
  engine::Moment since = 0;    // the raise of the fault that it has now
  engine::Moment updated = 0;  // of the latest record that raised or refreshed that fault, or took a report of it back
  std::uint64_t count = 0;     // records that raised or refreshed that fault
  std::uint32_t reporters = 0;
  std::string sensor = {};       // of the event whose record it shows
  std::string description = {};  // of that record; so are those that follow
  std::string cause = {};
  std::vector<std::uint32_t> oid = {};
  std::optional<engine::CauseStandard> standard = {};  // nothing: the cause is not known
  engine::OperatorState operator_state = engine::OperatorState::kNone;
  bool is_out_of_service = false;
  std::uint64_t raises = 0;  // while its fault is chattering; 0: it is not
  // Outputs were told of it, so they are told of its end, too. They are told neither, when it was silenced from its
  // beginning.
  bool was_told = false;

  // Whether operators have silenced it.
  bool is_silenced() const { return is_out_of_service || operator_state == engine::OperatorState::kShelved; }

  bool operator==(const OutputAlarm& other) const;
};

OutputAlarm output_alarm(const engine::FeedAlarm& alarm);

// The members have the names that they have in `polaiga active --json`, without the whole event and record, but with
// the record's `description`, `cause`, `oid`, `event_type` and `probable_cause`.
engine::JsonObject output_alarm_form(const OutputAlarm& alarm, std::string_view ledger_id,
                                     const engine::AlarmProfile& profile);

}  // namespace polaiga::output
