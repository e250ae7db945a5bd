// What comes over the control socket, one JSON object a line.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

#include "model/change.h"

namespace polaiga::engine {

// {"do":"status"}: how the engine is.
struct StatusRequest {};

// {"do":"cursor","publisher":"NAME","through":N}: the publisher needs no change up
// to number N again.
struct CursorRequest {
  std::string publisher;
  ChangeNumber through = 0;
};

// {"do":"forget","publisher":"NAME"}: the publisher is given up, and its cursor ends.
struct ForgetRequest {
  std::string publisher;
};

using ControlRequest = std::variant<StatusRequest, CursorRequest, ForgetRequest>;

// Says what is wrong with a request, in printable characters.
struct BadRequest : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The name of a publisher has 1 to 32 of the characters a-z, 0-9, "-", "_" and ".".
// Throws BadRequest.
ControlRequest parse_control_request(std::string_view line);

}  // namespace polaiga::engine
