#include <algorithm>
#include <charconv>

#include "state/controller_state.h"

namespace polaiga::fleet {
namespace {

constexpr std::string_view kListId = "list-";
constexpr std::string_view kChangesId = "changes-";

// The last change that a request asks for, which stands in its id. Nothing: it is none for changes.
std::optional<ChangeNumber> last_of(std::string_view id) {
  if (!id.starts_with(kChangesId)) return std::nullopt;
  id.remove_prefix(kChangesId.size());
  const std::size_t end = id.find('-');
  if (end == std::string_view::npos) return std::nullopt;
  ChangeNumber last = 0;
  const auto read = std::from_chars(id.data(), id.data() + end, last);
  if (read.ec != std::errc() || read.ptr != id.data() + end) return std::nullopt;
  return last;
}

// It comes again when it is asked for.
Verdict wait_for(ChangeNumber number, LedgerProgress& progress) {
  progress.wanted_through = std::max(progress.wanted_through, number);
  return Verdict::kEarly;
}

}  // namespace

Verdict take(const ChangeMessage& change, LedgerProgress& progress) {
  if (progress.put_back_before) return wait_for(change.number, progress);
  if (change.number <= progress.through) return Verdict::kRepeat;
  if (change.previous > progress.through) return wait_for(change.number, progress);
  progress.through = change.number;
  // Alarms of the object that are shelved, too, are not told that it is back.
  const bool is_of_object = change.alarm == 0;
  if (is_of_object && change.kind == engine::ChangeKind::kBackInService) want_list(progress);
  return Verdict::kTaken;
}

Verdict take(const GapMessage& gap, LedgerProgress& progress) {
  if (gap.is_put_back()) {
    if (progress.put_back_before && *progress.put_back_before <= gap.first) return Verdict::kRepeat;
    progress.put_back_before = gap.first;
    progress.wanted_through = std::min(progress.wanted_through, gap.first - 1);
    want_list(progress);
    return Verdict::kTaken;
  }
  if (progress.put_back_before) return wait_for(gap.last, progress);
  if (gap.last <= progress.through) return Verdict::kRepeat;
  if (gap.previous > progress.through) return wait_for(gap.last, progress);
  progress.through = gap.last;
  want_list(progress);
  return Verdict::kTaken;
}

void finish_put_back(LedgerProgress& progress) {
  progress.through = std::min(progress.through, progress.put_back_before.value() - 1);
  progress.put_back_before.reset();
}

Verdict take(const ListMessage& list, LedgerProgress& progress) {
  const bool is_asked_for = progress.is_list_wanted && !list.replay.empty() && list.replay == progress.asked_for;
  if (!is_asked_for || list.after != progress.list_after) return Verdict::kRepeat;
  progress.list_after = list.is_last ? 0 : list.through;
  if (list.is_last) {
    progress.is_list_wanted = false;
    progress.asked_for.clear();
  }
  return Verdict::kTaken;
}

Verdict take(const ReplayDone& done, LedgerProgress& progress) {
  if (!done.replay.empty() && done.replay == progress.asked_for) {
    // The ledger ends before what was asked for. To ask again would bring the same answer; if there is more later, the
    // next change or status says so.
    if (done.through < last_of(done.replay)) progress.wanted_through = std::max(progress.through, done.through);
    progress.asked_for.clear();
  }
  if (!done.previous || done.through <= progress.through || progress.put_back_before) return Verdict::kRepeat;
  if (*done.previous > progress.through) return wait_for(*done.previous, progress);
  progress.through = done.through;
  return Verdict::kTaken;
}

void take(const StatusMessage& status, LedgerProgress& progress) {
  progress.status_at = std::max(progress.status_at, status.at);
  progress.wanted_through = std::max(progress.wanted_through, status.told);
}

void want_list(LedgerProgress& progress) {
  progress.is_list_wanted = true;
  progress.list_after = 0;
  progress.asked_for.clear();
}

std::optional<Request> next_request(const LedgerProgress& progress) {
  if (progress.put_back_before) return std::nullopt;
  const bool has_changes = progress.wanted_through > progress.through;
  const bool is_list_unanswered = progress.asked_for.starts_with(kListId);
  if (progress.is_list_wanted && !(is_list_unanswered && has_changes)) {
    return Request{.is_for_list = true, .after = progress.list_after};
  }
  if (!has_changes) return std::nullopt;
  return Request{.first = progress.through + 1,
                 .last = progress.through + std::min(progress.wanted_through - progress.through, kMostAskedFor)};
}

std::string request_id(const Request& request, std::string_view unique) {
  if (request.is_for_list) return std::string(kListId) + std::string(unique);
  return std::string(kChangesId) + std::to_string(request.last) + "-" + std::string(unique);
}

}  // namespace polaiga::fleet
