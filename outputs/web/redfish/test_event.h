// The event that SubmitTestEvent of the event service asks for.
#pragma once

#include <string_view>

#include "redfish/events.h"

namespace polaiga::web {

// Reads the body of a request. What the client leaves out gets values of our own. Throws Refusal.
EventRecord parse_test_event(std::string_view body);

}  // namespace polaiga::web
