// What comes over the control socket, one JSON object a line.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

#include "daemon/publisher_report.h"
#include "model/change.h"
#include "model/operator_action.h"

namespace polaiga::engine {

// {"do":"status"}: how the engine is.
struct StatusRequest {};

// {"do":"cursor","publisher":"NAME","through":N}: the publisher needs no change up to number N again. "ledger_id" says
// of which ledger the number is. The publisher may also say whom it tells ("peer") and how it goes: "connected",
// "told", "lost", "cut", "last_success", "last_error" and "last_error_at".
struct CursorRequest {
  std::string publisher;
  ChangeNumber through = 0;
  std::optional<std::string> ledger_id;
  PublisherReport report;
};

// {"do":"forget","publisher":"NAME"}: the publisher is given up, and its cursor ends.
struct ForgetRequest {
  std::string publisher;
};

// {"do":"acknowledge","alarms":"17,+1,+5","comment":"TEXT","id":"TEXT"}: an operator's action. It has "alarms", or "dn"
// when it is about an object. A shelf and maintenance have "for", in seconds, or "until", a time of RFC 3339. Closing
// and shelving want a comment. "alarms" lists the numbers of the alarms; one that begins with "+" counts from the one
// before it. With "selection":true those for which the action is not possible are left out; otherwise nothing is done
// then. The action acknowledge_missed has "through" in their place: the missed alarms that ended up to that change.
// "ledger_id" says of which ledger the numbers are. A gateway says with "on_behalf_of" who acts.
struct ActionRequest {
  OperatorAction action;  // without the person
  std::optional<std::string> ledger_id;
};

using ControlRequest = std::variant<StatusRequest, CursorRequest, ForgetRequest, ActionRequest>;

// Says what is wrong with a request, in printable characters.
struct BadRequest : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A text of an action is UTF-8 of visible characters alone. The name of a publisher has 1 to 32 of the characters a-z,
// 0-9, "-", "_" and ".". Throws BadRequest.
ControlRequest parse_control_request(std::string_view line);

}  // namespace polaiga::engine
