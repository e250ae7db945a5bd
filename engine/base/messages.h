// Messages of the engine to whoever watches its standard error.
#pragma once

#include <string>

namespace polaiga::engine {

// One line on standard error, "polaiga: " before it. What may not reach a terminal is
// shown as "?".
void say(const std::string& message);

// The same for a complaint that begins with the file and the line that it is about, or
// needs no name before it.
void complain(const std::string& complaint);

}  // namespace polaiga::engine
