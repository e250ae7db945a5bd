#include "telling_alerts/hook_peer.h"

#include <algorithm>
#include <span>
#include <utility>

#include "alerts/cloud_event.h"

namespace polaiga::alertmanager {

using engine::ChangeNumber;
using engine::Priority;
using std::chrono::milliseconds;

HookPeer::HookPeer(const Address& address, const Identity& identity, Post& post, const engine::Clock& clock,
                   PeerHealth::Tell tell, output::BackOff::Random random)
    : post_(post),
      clock_(clock),
      address_(address),
      source_(event_source(identity)),
      name_(publisher_name("webhook", address)),
      health_(address.peer, clock, std::move(tell), std::move(random)) {}

void HookPeer::begin(output::FollowedLedger& ledger) {
  if (ledger_id_ == ledger.ledger_id()) return;  // its changes go on; a gap shows itself
  const auto known = ledger_id_.empty() ? ledger.cursor(name_) : std::nullopt;
  const ChangeNumber cursor = known.value_or(0);
  ++begun_;
  ledger_id_ = ledger.ledger_id();
  events_.clear();
  picture_.clear();
  part_ = parts_ = 0;
  refusals_ = 0;
  is_out_ = false;
  gap_.reset();
  previous_.reset();
  through_ = read_through_ = cursor;
  // A cursor of 0 is that of a peer that took the picture of an empty ledger, or has taken nothing yet. While there are
  // few changes, all of them are right for both.
  const bool has_all = known && ledger.oldest_number() == 1 && ledger.number() <= kLookBack;
  needs_picture_ = cursor == 0 && !has_all;
  if (!needs_picture_) find_previous(ledger);
}

// The cursor may be at a change that was passed over, since it was not to be told.
void HookPeer::find_previous(output::FollowedLedger& ledger) {
  const ChangeNumber oldest = ledger.oldest_number();
  ChangeNumber at = std::max({ChangeNumber{0}, through_ - kLookBack, oldest - 1});
  if (at == 0) previous_ = 0;
  while (oldest != 0 && at < through_) {
    const engine::Feed feed = ledger.changes_after(at, output::FollowedLedger::kAtOnce);
    if (feed.gap || feed.through == at) return;
    for (const engine::StoredChange& one : feed.changes) {
      if (!one.change.is_quiet && one.change.number <= through_) previous_ = one.change.number;
    }
    at = feed.through;
  }
}

void HookPeer::take_gap(const engine::Feed::Gap& gap) {
  gap_ = gap;
  needs_picture_ = true;
  if (gap.first <= read_through_) {
    health_.say(Priority::kWarning,
                "the ledger was put back to an earlier state. That is told as a gap, and then all alarms");
    return;
  }
  lost_ += static_cast<std::uint64_t>(gap.last - gap.first + 1);
  health_.say(Priority::kWarning, "the changes " + std::to_string(gap.first) + " to " + std::to_string(gap.last) +
                                      " are gone before they could be told. It is told so, and then all alarms");
}

void HookPeer::begin_picture(const output::FollowedLedger& ledger) {
  needs_picture_ = false;
  if (gap_) {
    events_.push_back({.body = gap_event(*gap_, ledger_id_, clock_.wall(), source_), .name = "the gap", .through = {}});
    gap_.reset();
  }
  picture_.clear();
  picture_.reserve(ledger.alarms().size());
  for (const auto& one : ledger.alarms()) picture_.push_back(one.second);
  part_ = 0;
  parts_ = std::max<std::size_t>(1, (picture_.size() + kAlarmsOfPart - 1) / kAlarmsOfPart);
  read_through_ = ledger.number();
  previous_ = read_through_;
}

void HookPeer::add_part(const output::FollowedLedger& ledger) {
  const std::size_t first = part_ * kAlarmsOfPart;
  const std::span<const output::OutputAlarm> alarms =
      std::span(picture_).subspan(first, std::min(kAlarmsOfPart, picture_.size() - first));
  ++part_;
  Event event{.body = snapshot_event({.number = read_through_, .part = part_, .parts = parts_}, alarms,
                                     ledger.profile(), ledger_id_, clock_.wall(), source_),
              .name = "a part of the picture",
              .through = {}};
  if (part_ == parts_) {
    event.through = read_through_;
    part_ = parts_ = 0;
    std::vector<output::OutputAlarm>().swap(picture_);
  }
  events_.push_back(std::move(event));
}

void HookPeer::read_changes(output::FollowedLedger& ledger) {
  has_more_ = false;
  if (ledger.number() == read_through_) return;
  const engine::Feed feed = ledger.changes_after(read_through_, kReadAtOnce);
  if (feed.gap) {
    take_gap(*feed.gap);
    has_more_ = true;
    return;
  }
  for (const engine::StoredChange& one : feed.changes) {
    if (one.change.is_quiet) continue;
    events_.push_back({.body = change_event(one, previous_, ledger_id_, source_),
                       .name = "the change " + std::to_string(one.change.number),
                       .through = one.change.number});
    previous_ = one.change.number;
  }
  has_more_ = feed.through != read_through_;
  read_through_ = feed.through;
  if (events_.empty()) {
    through_ = read_through_;
  } else {
    events_.back().through = read_through_;
  }
}

void HookPeer::read(output::FollowedLedger& ledger) {
  if (needs_picture_) begin_picture(ledger);
  if (!events_.empty()) return;
  if (parts_ != 0) {
    add_part(ledger);
  } else {
    read_changes(ledger);
  }
}

void HookPeer::go_on(output::FollowedLedger& ledger) {
  if (is_out_ || ledger_id_.empty()) return;
  if (events_.empty()) read(ledger);
  if (events_.empty() || !health_.may_send()) return;
  is_out_ = true;
  post_.send(address_,
             {.url = address_.url, .content_type = "application/cloudevents+json", .body = events_.front().body},
             [this, of = begun_](const Answer& answer) { finish(answer, of); });
}

void HookPeer::pass_front() {
  if (events_.front().through) through_ = *events_.front().through;
  events_.pop_front();
  refusals_ = 0;
}

void HookPeer::finish(const Answer& answer, std::uint64_t of) {
  if (of != begun_) return;
  is_out_ = false;
  if (answer.is_taken()) {
    health_.succeeded();
    ++told_;
    pass_front();
    return;
  }
  if (answer.is_refusal() && ++refusals_ >= kMostRefusals) {
    health_.answered(answer.problem);
    health_.say(Priority::kWarning,
                events_.front().name + " is refused again and again, so it is passed over: " + answer.problem);
    ++lost_;
    pass_front();
    return;
  }
  health_.failed(answer.problem, answer.try_after);
}

milliseconds HookPeer::until_next() const {
  if (is_out_ || ledger_id_.empty()) return milliseconds::max();
  if (events_.empty()) return has_more_ || needs_picture_ || parts_ != 0 ? milliseconds(0) : milliseconds::max();
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(health_.next() - clock_.steady()));
}

output::Report HookPeer::report() const {
  output::Report report{.publisher = name_,
                        .peer = address_.peer,
                        .ledger_id = ledger_id_,
                        .through = through_,
                        .told = told_,
                        .lost = lost_,
                        .last_success = {},
                        .last_error_at = {},
                        .last_error = {}};
  health_.fill(report);
  return report;
}

}  // namespace polaiga::alertmanager
