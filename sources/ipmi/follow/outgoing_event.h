// An event as a line for the engine.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "mapping/ladder.h"
#include "model/moment.h"
#include "standard/sel_record.h"

namespace polaiga::ipmi {

// Ids of events: of what a record of an epoch says, and of what readings say for the `number`th time. `step` counts the
// events that came of it, from 1.
std::string record_event_id(std::uint64_t epoch, const SelBytes& record, int step);
std::string reading_event_id(std::uint64_t epoch, std::uint64_t number, int step);

// Without a newline. What no text may have is replaced in the sensor's name.
std::string event_line(const std::string& id, const Target& target, const Step& step,
                       std::optional<engine::Moment> time);

}  // namespace polaiga::ipmi
