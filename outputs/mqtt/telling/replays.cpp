#include "telling/replays.h"

#include <algorithm>
#include <utility>

namespace polaiga::mqtt {

using engine::ChangeNumber;

namespace {

constexpr const char* kAnotherLedger = "The ledger is another one; read its id in 'status'";

}  // namespace

void Replays::take(std::string_view payload, std::string_view ledger_id) {
  Replay request;
  try {
    request = parse_replay(payload);
  } catch (const BadMessage& error) {
    refuse(error.id(), error.what());
    return;
  }
  if (ledger_id.empty()) {
    refuse(request.id, "No ledger could be read yet; ask again when 'status' has its id");
  } else if (request.ledger_id != ledger_id) {
    refuse(request.id, kAnotherLedger);
  } else if (requests_.size() > kMostWaiting) {
    refuse(request.id, std::to_string(kMostWaiting) + " requests wait already; ask again when one of them is done");
  } else {
    requests_.push_back(std::move(request));
  }
}

void Replays::refuse(std::string_view id, std::string_view why) {
  if (refusals_ >= kMostAnswers) return;
  ++refusals_;
  send(Kind::kRefusal, replay_refused_payload(origin_, id, why));
}

void Replays::send(Kind kind, std::string payload) {
  const MessageId id = tools_.send({.topic = topic_, .payload = std::move(payload), .is_retained = false});
  in_flight_.insert_or_assign(id, kind);
}

void Replays::begin() {
  const Replay& request = requests_.front();
  if (request.alarms_after) {
    after_ = *request.alarms_after;
  } else {
    after_ = request.first - 1;
    previous_ = told_before(after_);
  }
  is_begun_ = true;
}

ChangeNumber Replays::told_before(ChangeNumber number) const { return number == 0 ? 0 : tools_.told_before(number); }

void Replays::finish() {
  const Replay& request = requests_.front();
  const Told told{.ledger_id = request.ledger_id, .previous = previous_, .replay = request.id};
  send(Kind::kOfRequest, replay_done_payload(origin_, after_, told));
  is_told_ = true;
}

void Replays::drop_first() {
  if (!requests_.empty()) requests_.pop_front();
  is_begun_ = false;
  is_told_ = false;
}

void Replays::tell(const engine::Feed& feed) {
  const Replay& request = requests_.front();
  for (const engine::StoredChange& one : feed.changes) {
    if (one.change.number > request.last) break;
    if (one.change.is_quiet) continue;
    const Told told{.ledger_id = request.ledger_id, .previous = previous_, .replay = request.id};
    send(Kind::kOfRequest, change_payload(origin_, one, told));
    previous_ = one.change.number;
  }
  after_ = std::min(feed.through, request.last);
}

bool Replays::go_on(std::size_t most) {
  for (const std::string& id : std::exchange(forgotten_, {})) refuse(id, kAnotherLedger);
  if (requests_.empty() || is_told_) return false;
  return requests_.front().alarms_after ? tell_alarms(std::min(most, kMostPartsInFlight))
                                        : tell_changes(std::min(most, kMostInFlight));
}

// Each part is right by itself, at its own number, so changes may come between them.
bool Replays::tell_alarms(std::size_t limit) {
  if (in_flight_.size() >= limit) return false;
  if (!is_begun_) begin();
  const AlarmsPart part = alarms_part(origin_, tools_.look(), after_, requests_.front().id);
  send(Kind::kOfRequest, part.payload);
  after_ = part.through;
  is_told_ = part.is_last;
  return !is_told_ && in_flight_.size() < limit;
}

bool Replays::tell_changes(std::size_t limit) {
  if (in_flight_.size() >= limit) return false;
  if (!is_begun_) begin();
  const Replay& request = requests_.front();
  const engine::Feed feed = tools_.read(after_, limit - in_flight_.size());
  const bool is_beyond_end = feed.gap && feed.gap->last <= after_;
  if (is_beyond_end) {
    // The ledger ends before what was asked for.
    if (after_ >= feed.gap->first) {
      after_ = feed.gap->first - 1;
      previous_ = told_before(after_);
    }
    finish();
  } else if (feed.gap) {
    const engine::Feed::Gap gap{.first = feed.gap->first, .last = std::min(feed.gap->last, request.last)};
    const Told told{.ledger_id = request.ledger_id, .previous = previous_, .replay = request.id};
    send(Kind::kOfRequest, gap_payload(origin_, gap, told));
    after_ = gap.last;
    previous_ = gap.last;
    if (after_ == request.last) finish();
  } else {
    const bool is_all = feed.through == after_;
    tell(feed);
    if (is_all || after_ >= request.last) finish();
  }
  return !is_told_ && in_flight_.size() < limit;
}

bool Replays::confirmed(MessageId id) {
  const auto found = in_flight_.find(id);
  if (found == in_flight_.end()) return false;
  if (found->second == Kind::kRefusal) --refusals_;
  in_flight_.erase(found);
  if (is_told_ && has_arrived()) drop_first();
  return true;
}

bool Replays::has_arrived() const {
  return std::ranges::none_of(in_flight_, [](const auto& one) { return one.second == Kind::kOfRequest; });
}

// What is on its way of the request that is under way is not waited for.
void Replays::give_up() {
  for (auto& [id, kind] : in_flight_) {
    if (kind == Kind::kOfRequest) kind = Kind::kGivenUp;
  }
}

bool Replays::refused(MessageId id) {
  const auto found = in_flight_.find(id);
  if (found != in_flight_.end() && found->second == Kind::kOfRequest) {
    give_up();
    drop_first();
  }
  return confirmed(id);
}

void Replays::again() {
  in_flight_.clear();
  refusals_ = 0;
  is_begun_ = false;
  is_told_ = false;
}

void Replays::forget() {
  give_up();
  for (Replay& one : std::exchange(requests_, {})) forgotten_.push_back(std::move(one.id));
  is_begun_ = false;
  is_told_ = false;
}

}  // namespace polaiga::mqtt
