#include "report/json_object.h"
#include "wire/message.h"

namespace polaiga::fleet {

using engine::JsonObject;

std::string ack_payload(std::string_view ledger_id, ChangeNumber through) {
  return JsonObject().add("ledger_id", ledger_id).add("through", through).text();
}

std::string replay_payload(std::string_view ledger_id, ChangeNumber first, ChangeNumber last, std::string_view id) {
  return JsonObject().add("ledger_id", ledger_id).add("first", first).add("last", last).add("id", id).text();
}

std::string list_request_payload(std::string_view ledger_id, ChangeNumber after, std::string_view id) {
  return JsonObject().add("ledger_id", ledger_id).add("alarms", true).add("after", after).add("id", id).text();
}

}  // namespace polaiga::fleet
