// Messages of the engine to whoever watches its standard error.
#pragma once

#include <string>

namespace polaiga::engine {

// One line on standard error, "polaiga: " before it. Control characters are shown
// as "?".
void say(const std::string& message);

}  // namespace polaiga::engine
