// Alarms with what their records say, for answers that tell an alarm's way in words.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "filter/host_tables.h"
#include "ledger/stored.h"
#include "model/dictionary.h"

namespace polaiga::engine {

// The texts of one step of an alarm.
struct StepTexts {
  std::string raised;  // of the record that raised the fault
  std::string shown;   // of the record that it shows, or showed last
  Moment shown_at = 0;
  std::string ended;  // of the record that cleared it; empty when no record did
};

// What an operator made of an alarm.
struct OperatorStateChange {
  ChangeNumber number = 0;
  Moment at = 0;
  std::string_view state;  // in the words of RFC 8632: none, ack, closed, shelved or un-shelved
  std::string person;      // empty: the engine itself
  std::string text;
};

struct ToldAlarm {
  StoredAlarm alarm;
  std::vector<StepTexts> texts;                // of alarm.steps, one for each
  std::optional<CauseStandard> cause;          // of its first raise; nothing when the cause is unknown
  std::vector<OperatorStateChange> operators;  // in their order
};

struct ToldAlarms {
  std::vector<ToldAlarm> alarms;     // in the order of their numbers
  std::optional<Moment> changed;     // when the latest change was that the ledger has; nothing when it has none
  std::optional<HostTables> tables;  // that the latest inputs were handled under; nothing when there are none
};

}  // namespace polaiga::engine
