// The measures of an alarm system, for people and for programs.
#pragma once

#include <string>
#include <string_view>

#include "report/bar.h"
#include "report/json_object.h"
#include "report/measured.h"
#include "report/table.h"

namespace polaiga::engine {

std::string measures_text(const Measured& measured, BarStyle style, Room room);

JsonObject measures_form(const Measured& measured, std::string_view ledger_id);

}  // namespace polaiga::engine
