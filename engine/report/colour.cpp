#include "report/colour.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <cstring>

namespace polaiga::engine {

void add_colour_option(CLI::App& command, Colour& colour) {
  command
      .add_option_function<std::string>(
          "--color",
          [&colour](const std::string& when) {
            if (when != "auto") colour = when == "always" ? Colour::kAlways : Colour::kNever;
          },
          "Colour the severities: auto, always or never (default auto)")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->option_text("WHEN");
}

bool wants_colour(Colour colour, const StandardOutput& output) {
  if (colour != Colour::kAuto) return colour == Colour::kAlways;
  const char* const refused = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  return output.is_terminal() && (refused == nullptr || *refused == '\0') &&
         (terminal == nullptr || std::strcmp(terminal, "dumb") != 0);
}

}  // namespace polaiga::engine
