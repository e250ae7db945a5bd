// The options of commands that act on alarms and objects.
#pragma once

#include <string>

#include "control/action_request.h"

namespace CLI {
class App;
}  // namespace CLI

namespace polaiga::engine {

// --control, with its default.
void add_control_option(CLI::App& command, std::string& control);

// --comment, --id and --on-behalf-of.
void add_action_text_options(CLI::App& command, bool wants_comment, ActionText& text);

// --for and --until.
void add_ending_options(CLI::App& command, SilenceEnd& ending);

// Throws UsageError unless one of the two was given.
void must_end(const SilenceEnd& ending);

}  // namespace polaiga::engine
