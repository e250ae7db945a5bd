// The option that tells when a fault is chattering.
#pragma once

#include <optional>
#include <string>

#include "alarms/chattering.h"

namespace CLI {
class App;
}

namespace polaiga::engine {

// As in "5/10m": more than 5 times in 10 minutes. Nothing when it is not such a text.
std::optional<ChatteringLimit> parse_chattering_limit(const std::string& text);

void add_chattering_option(CLI::App& command, ChatteringLimit& limit);

// The same, with 0 for no limit.
void add_chattering_option(CLI::App& command, std::optional<ChatteringLimit>& limit);

}  // namespace polaiga::engine
