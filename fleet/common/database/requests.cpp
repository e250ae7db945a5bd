#include "database/requests.h"

#include <string>

namespace polaiga::fleet {

std::optional<Answer> ask_for_missing(const Sender& sender, bool was_asked_lately, std::int64_t now,
                                      LedgerProgress& progress) {
  if (was_asked_lately && !progress.asked_for.empty()) return std::nullopt;
  const auto request = next_request(progress);
  if (!request) return std::nullopt;
  progress.asked_for = request_id(*request, std::to_string(now));
  const std::string payload =
      request->is_for_list ? list_request_payload(progress.ledger_id, request->after, progress.asked_for)
                           : replay_payload(progress.ledger_id, request->first, request->last, progress.asked_for);
  return Answer{.sender = sender, .kind = Kind::kReplay, .payload = payload};
}

}  // namespace polaiga::fleet
