#include "daemon/answers.h"

#include "model/moment.h"
#include "report/json_text.h"

namespace polaiga::engine {
namespace {

using nlohmann::ordered_json;

constexpr const char* kNotTracked =
    "The event is recorded, but its fault is not tracked: the limit of active faults is reached (--max-active)";

ordered_json publishers_of(const EngineStatus& status) {
  ordered_json publishers = ordered_json::array();
  for (const PublisherCursor& cursor : status.publishers) {
    publishers.push_back({{"publisher", cursor.publisher},
                          {"through", cursor.through},
                          {"behind", status.last_change - cursor.through},
                          {"updated", format_moment(cursor.updated)}});
  }
  return publishers;
}

}  // namespace

// Events come by the tens of thousands a second, so this is put together by hand.
std::string acknowledgement(const Receipt& receipt) {
  std::string text = R"({"seq":)" + std::to_string(receipt.sequence);
  if (receipt.duplicate) text += R"(,"duplicate":true)";
  const RecordedInput* const input = receipt.input;
  if (input != nullptr && input->reported && input->outcome == Outcome::kNotTracked) {
    text.append(R"(,"warning":")").append(kNotTracked).append("\"");
  }
  return text + "}\n";
}

std::string refusal(const std::string& what) { return json_text({{"error", what}}) + "\n"; }

std::string done() { return "{\"ok\":true}\n"; }

std::string status_answer(const EngineStatus& status) {
  ordered_json answer = {{"ledger_id", status.ledger_id},
                         {"build_id", status.build.build_id},
                         {"library_version", status.build.version},
                         {"last_seq", status.last_sequence},
                         {"waiting", status.waiting},
                         {"last_number", status.last_change},
                         {"oldest_number", status.size.oldest_change},
                         {"active_faults", status.active_faults},
                         {"reports", status.reports},
                         {"max_active", status.most_reports},
                         {"not_tracked", status.not_tracked},
                         {"bad_lines", status.bad_lines},
                         {"clients", status.clients},
                         {"file_bytes", status.size.file_bytes},
                         {"log_bytes", status.size.log_bytes},
                         {"over_limit", status.size.is_too_full},
                         {"log_held_by_reader", status.size.is_held},
                         {"publishers", publishers_of(status)}};
  if (status.problem) answer["problem"] = *status.problem;
  return json_text(answer) + "\n";
}

}  // namespace polaiga::engine
