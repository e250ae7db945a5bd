// What operators do, as requests to the engine.
#pragma once

#include "access/caller.h"
#include "app/site.h"
#include "http/message.h"

namespace polaiga::web {

// POST /api/v1/actions: a JSON object as the engine's control socket takes it, such as
// {"do":"acknowledge","alarms":"3,+4","comment":"seen"}, but without "on_behalf_of": it is the caller.
Response answer_action(Site& site, const Request& request, const Caller& caller);

}  // namespace polaiga::web
