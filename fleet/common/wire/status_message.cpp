#include "wire/parts.h"

namespace polaiga::fleet {
namespace {

void read_online(const Members& message, StatusMessage& status) {
  status.is_online = true;
  status.is_engine_answering = message.flag("engine");
  status.at = message.moment("at");
  if (!message.has("ledger_id")) return;
  status.ledger_id = message.ledger_id("ledger_id");
  status.number = message.number("number", 0);
  status.oldest_number = message.number("oldest_number", 0);
  status.told = message.number("told", 0);
}

void read_offline(const Members& message, StatusMessage& status) {
  const std::string reason = message.text("reason");
  if (reason != "stopped" && reason != "lost") message.refuse("reason", "stopped or lost");
  status.is_lost = reason == "lost";
  if (message.has("at")) status.at = message.moment("at");
}

}  // namespace

StatusMessage parse_status(const Members& message) {
  StatusMessage status;
  status.version = message.text("version");
  const std::string state = message.text("state");
  if (state != "online" && state != "offline") message.refuse("state", "online or offline");
  if (state == "online") {
    read_online(message, status);
  } else {
    read_offline(message, status);
  }
  return status;
}

}  // namespace polaiga::fleet
