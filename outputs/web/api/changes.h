// The changes of the ledger, for whoever follows them.
#pragma once

#include "app/site.h"
#include "http/message.h"

namespace polaiga::web {

// GET or HEAD of /api/v1/changes: the changes after a number as JSON, at once or when there are some; or, for whoever
// accepts text/event-stream, as server-sent events (HTML Living Standard, section 9.2):
//   change  a change, as `polaiga tail --json` prints it
//   view    something changed: whoever shows alarms asks for them again
//   gap     changes were lost to whoever follows: all is to be asked for again
//   engine  whether the engine answers
// The id of an event is "<ledger id>-<number of the latest change>". Throws BadQuery and LedgerError.
Response answer_changes(Site& site, const Request& request);

}  // namespace polaiga::web
