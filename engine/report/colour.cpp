#include "report/colour.h"

#include <cstdlib>
#include <cstring>

namespace polaiga::engine {

bool wants_colour(Colour colour, const StandardOutput& output) {
  if (colour != Colour::kAuto) return colour == Colour::kAlways;
  const char* const refused = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  return output.is_terminal() && (refused == nullptr || *refused == '\0') &&
         (terminal == nullptr || std::strcmp(terminal, "dumb") != 0);
}

}  // namespace polaiga::engine
