// What `polaiga explain` tells, for people and for programs.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "ledger/reader.h"
#include "report/table.h"

namespace polaiga::engine {

// What the filter does to a fault, by events of the sensor that raised it. Events
// are told as OFFSETS: STATES.
struct Rule {
  std::string raised_by;
  std::string cleared_by;                              // empty: no event clears it
  std::map<std::uint32_t, std::string> superseded_by;  // by the code that takes its place
};

// Nothing when the filter of this build does not raise the fault by its event. It
// gives the filter events and binds its services anew.
std::optional<Rule> rule_of(const StoredRecord& raise);

// Its tables fit into the room.
std::string explain_as_text(const Explanation& found, const std::optional<Rule>& rule, std::string_view ledger_id,
                            Room room = std::nullopt, const AlarmProfile& profile = {});
std::string explain_as_json(const Explanation& found, const std::optional<Rule>& rule, std::string_view ledger_id,
                            const AlarmProfile& profile = {});

}  // namespace polaiga::engine
