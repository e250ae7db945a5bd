// The measures of an alarm system, for people and for programs.
#pragma once

#include <string>
#include <string_view>

#include "alarms/measures.h"
#include "report/bar.h"
#include "report/json_object.h"
#include "report/table.h"

namespace polaiga::engine {

// Measures with what they were asked for.
struct Measured {
  Measures measures;
  Moment now = 0;
  Moment since = 0;   // when the time looked at began
  std::string under;  // the DN whose alarms were measured; empty: all
  ChatteringLimit chattering = {};
};

std::string measures_text(const Measured& measured, BarStyle style, Room room);

JsonObject measures_form(const Measured& measured, std::string_view ledger_id);

}  // namespace polaiga::engine
