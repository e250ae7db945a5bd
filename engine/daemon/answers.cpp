#include "daemon/answers.h"

#include "model/moment.h"
#include "report/json_object.h"

namespace polaiga::engine {
namespace {

constexpr const char* kNotTracked =
    "The event is recorded, but its fault is not tracked: the limit of active faults is reached (--max-active)";

JsonObject publisher_of(const PublisherStatus& status, ChangeNumber last_change) {
  const auto& [cursor, silent, report] = status;
  JsonObject publisher;
  publisher.add("publisher", cursor.publisher)
      .add("through", cursor.through)
      .add("behind", last_change - cursor.through)
      .add("updated", format_moment(cursor.updated));
  if (silent) publisher.add("silent_s", silent->count());
  if (report.peer) publisher.add("peer", *report.peer);
  if (report.connected) publisher.add("connected", *report.connected);
  if (report.told) publisher.add("told", *report.told);
  if (report.lost) publisher.add("lost", *report.lost);
  if (report.cut) publisher.add("cut", *report.cut);
  if (report.last_success) publisher.add("last_success", format_moment(*report.last_success));
  if (report.last_error) publisher.add("last_error", *report.last_error);
  if (report.last_error_at) publisher.add("last_error_at", format_moment(*report.last_error_at));
  return publisher;
}

JsonArray publishers_of(const EngineStatus& status) {
  JsonArray publishers;
  for (const PublisherStatus& one : status.publishers) publishers.add(publisher_of(one, status.last_change));
  return publishers;
}

JsonObject inputs_of(const InputCounts& counts) {
  JsonObject inputs;
  inputs.add("event", counts.events);
  for (std::size_t kind = 0; kind < kActionKinds; ++kind) {
    inputs.add(action_word(static_cast<ActionKind>(kind)), counts.actions.at(kind));
  }
  return inputs;
}

JsonObject changes_of(const InputCounts& counts) {
  JsonObject changes;
  for (std::size_t kind = 0; kind < kChangeKinds; ++kind) {
    changes.add(change_word(static_cast<ChangeKind>(kind)), counts.changes.at(kind));
  }
  return changes;
}

JsonObject times_of(const Histogram& histogram) {
  JsonArray bounds;
  for (const std::chrono::microseconds bound : Histogram::kBounds) bounds.add(bound.count());
  JsonArray counts;
  for (const std::uint64_t count : histogram.counts()) counts.add(count);
  const auto total = std::chrono::duration_cast<std::chrono::microseconds>(histogram.total());
  return JsonObject().add("bounds_us", bounds).add("counts", counts).add("total_us", total.count());
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

std::string action_answer(const Receipt& receipt) {
  JsonObject answer;
  answer.add("seq", receipt.sequence);
  if (receipt.input != nullptr) {
    answer.add("changes", receipt.input->changes.size());
  } else {
    answer.add("duplicate", true);
  }
  return answer.line();
}

std::string refusal(const std::string& what) { return JsonObject().add("error", what).line(); }

std::string done() { return "{\"ok\":true}\n"; }

// All of this is built as text: a tree of JSON values takes memory even where it is let go of, and that cannot fail.
std::string status_answer(const EngineStatus& status) {
  JsonObject answer;
  answer.add("ledger_id", status.ledger_id)
      .add("build_id", status.build.build_id)
      .add("library_version", status.build.version)
      .add("last_seq", status.last_sequence)
      .add("unwritten", status.unwritten)
      .add("last_number", status.last_change)
      .add("oldest_number", status.size.oldest_change)
      .add("active_faults", status.active_faults)
      .add("reports", status.reports)
      .add("max_active", status.most_reports)
      .add("chattering", status.chattering)
      .add("inputs", inputs_of(status.counts))
      .add("duplicates", status.counts.duplicates)
      .add("changes", changes_of(status.counts))
      .add("not_tracked", status.not_tracked)
      .add("bad_lines", status.bad_lines)
      .add("clients", status.clients)
      .add("waiting_clients", status.waiting_clients)
      .add("file_bytes", status.size.file_bytes)
      .add("log_bytes", status.size.log_bytes)
      .add("over_limit", status.size.is_too_full)
      .add("log_held_by_reader", status.size.is_held)
      .add("batch_times", times_of(status.times.batches))
      .add("sync_times", times_of(status.times.syncs))
      .add("checked_percent", status.check.percent)
      .add("damage_found", status.check.found)
      .add("publishers", publishers_of(status));
  if (status.problem) answer.add("problem", *status.problem);
  return answer.line();
}

}  // namespace polaiga::engine
