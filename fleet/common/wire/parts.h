// The parsers of single kinds of messages. parse_message() chooses among them, and has checked who sent the message.
#pragma once

#include <string_view>

#include "wire/members.h"
#include "wire/message.h"

namespace polaiga::fleet {

// `payload` is the whole message.
ChangeMessage parse_change(const Members& message, std::string_view payload);
GapMessage parse_gap(const Members& message);
ListMessage parse_list(const Members& message);
StatusMessage parse_status(const Members& message);

}  // namespace polaiga::fleet
