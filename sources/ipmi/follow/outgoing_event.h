// An event as a line for the engine.
#pragma once

#include <optional>
#include <string>

#include "mapping/ladder.h"
#include "model/moment.h"

namespace polaiga::ipmi {

// Without a newline. What no text may have is replaced in the sensor's name.
std::string event_line(const std::string& id, const Target& target, const Step& step,
                       std::optional<engine::Moment> time);

}  // namespace polaiga::ipmi
