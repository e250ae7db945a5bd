#include "telling_alerts/alert_peer.h"

#include <algorithm>
#include <utility>

#include "model/record_text.h"
#include "report/json_forms.h"
#include "report/json_object.h"

namespace polaiga::alertmanager {

using engine::ChangeNumber;
using engine::Priority;
using engine::Severity;
using std::chrono::milliseconds;

namespace {

// The severity that the alert of the change's fault had after it; cleared: there was none.
Severity after_of(const engine::Change& change) {
  switch (change.kind) {
    case engine::ChangeKind::kCleared:
    case engine::ChangeKind::kSuperseded:
    case engine::ChangeKind::kWithdrawn:
    case engine::ChangeKind::kMerged:
      return Severity::kCleared;
    default:
      return change.after;
  }
}

// The same before it. That of a raise is of another fault.
Severity before_of(const engine::Change& change) {
  return change.kind == engine::ChangeKind::kRaised ? Severity::kCleared : change.before;
}

}  // namespace

AlertPeer::AlertPeer(const Address& address, std::chrono::seconds resend, const AlertBoard& board, Post& post,
                     const engine::Clock& clock, PeerHealth::Tell tell, output::BackOff::Random random)
    : board_(board),
      name_(publisher_name("alertmanager", address)),
      sender_(address, resend, post, clock, std::move(tell), std::move(random)) {}

void AlertPeer::begin(output::FollowedLedger& ledger) {
  const bool is_first = ledger_id_.empty();
  ChangeNumber before = 0;
  if (is_first) {
    const auto cursor = ledger.cursor(name_);
    // A cursor of 0 is noted when the first alert is still on its way. While there are few changes, all are read.
    const bool is_begin = cursor == 0 && ledger.oldest_number() == 1 && ledger.number() <= kLookBack;
    if (cursor && *cursor <= ledger.number() && (*cursor > 0 || is_begin)) {
      before = *cursor;
      caught_up_ = *cursor;
      catch_up_to_ = ledger.number();
    }
  } else if (ledger_id_ == ledger.ledger_id()) {
    before = std::min(report().through, ledger.number());
  } else {
    sender_.queue().begin_anew();
    caught_up_.reset();
  }
  ledger_id_ = ledger.ledger_id();
  seen_ = ledger.number();
  for (const AlertPointer& alert : board_.alerts()) sender_.queue().raise(alert, before);
}

void AlertPeer::take(const AlertTurn& turn, engine::Moment at, ChangeNumber before) {
  if (ledger_id_.empty()) return;  // begin() takes all
  if (turn.is_active) {
    sender_.queue().raise(turn.alert, before);
  } else {
    sender_.queue().end(turn.alert, at, before);
  }
}

// What was told before the start is not known, only what can have been told after the cursor.
void AlertPeer::catch_up(output::FollowedLedger& ledger) {
  if (!caught_up_) return;
  const engine::Feed feed = ledger.changes_after(*caught_up_, output::FollowedLedger::kAtOnce);
  if (feed.gap && feed.gap->first <= *caught_up_) {
    // The ledger was put back to an earlier state. What was after it is not known any more.
    caught_up_.reset();
    return;
  }
  if (feed.gap) {
    gone_ += static_cast<std::uint64_t>(feed.gap->last - feed.gap->first + 1);
    sender_.health().say(Priority::kWarning,
                         "the changes " + std::to_string(feed.gap->first) + " to " + std::to_string(feed.gap->last) +
                             " were gone before they could be told. Alerts that ended by them end by "
                             "themselves within " +
                             std::to_string(sender_.queue().validity().count()) + " s");
    caught_up_ = feed.gap->last;
    if (*caught_up_ >= catch_up_to_) caught_up_.reset();
    return;
  }
  for (const engine::StoredChange& one : feed.changes) {
    if (!one.change.is_quiet && one.change.alarm != 0) end_what_was(one);
  }
  const bool is_over = feed.through >= catch_up_to_ || feed.through == *caught_up_;
  caught_up_ = feed.through;
  if (is_over) caught_up_.reset();
}

void AlertPeer::end_what_was(const engine::StoredChange& stored) {
  const engine::Change& change = stored.change;
  const auto parts = fault_parts(change.fault_dn);
  if (!parts) return;
  for (const Severity severity : {before_of(change), after_of(change)}) {
    if (severity == Severity::kCleared) continue;
    engine::JsonObject annotations;
    annotations.add("alarm", engine::alarm_id(ledger_id_, change.alarm))
        .add("summary", alert_summary(parts->dn, parts->code, severity));
    if (stored.record) annotations.add("description", engine::field_text(stored.record->record.descr));
    Alert alert{.labels = alert_labels(parts->dn, parts->code, severity, board_.identity()),
                .annotations = annotations.text(),
                .link = {},
                .starts_at = change.at,
                .alarm = change.alarm};
    if (!board_.has(alert.labels)) {
      sender_.queue().end(std::make_shared<const Alert>(std::move(alert)), change.at, *caught_up_);
    }
  }
}

milliseconds AlertPeer::until_next() const { return caught_up_ ? milliseconds(0) : sender_.until_next(); }

output::Report AlertPeer::report() const {
  output::Report report{.publisher = name_,
                        .peer = sender_.peer(),
                        .ledger_id = ledger_id_,
                        .through = sender_.queue().through(caught_up_ ? std::min(*caught_up_, seen_) : seen_),
                        .told = sender_.queue().told(),
                        .lost = gone_ + sender_.queue().lost(),
                        .last_success = {},
                        .last_error_at = {},
                        .last_error = {}};
  sender_.health().fill(report);
  return report;
}

}  // namespace polaiga::alertmanager
