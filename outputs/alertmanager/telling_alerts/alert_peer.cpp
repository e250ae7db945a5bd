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
      post_(post),
      clock_(clock),
      address_(address),
      name_(publisher_name("alertmanager", address)),
      health_(address.peer, clock, std::move(tell), std::move(random)),
      queue_(resend) {}

void AlertPeer::begin(output::FollowedLedger& ledger) {
  const bool is_first = ledger_id_.empty();
  ChangeNumber before = 0;
  if (is_first) {
    const ChangeNumber cursor = ledger.cursor(name_).value_or(0);
    if (cursor > 0 && cursor <= ledger.number()) {
      before = cursor;
      caught_up_ = cursor;
      catch_up_to_ = ledger.number();
    }
  } else if (ledger_id_ == ledger.ledger_id()) {
    before = std::min(report().through, ledger.number());
  } else {
    queue_.begin_anew();
    caught_up_.reset();
  }
  ledger_id_ = ledger.ledger_id();
  seen_ = ledger.number();
  for (const AlertPointer& alert : board_.alerts()) queue_.raise(alert, before);
}

void AlertPeer::take(const AlertTurn& turn, engine::Moment at, ChangeNumber before) {
  if (ledger_id_.empty()) return;  // begin() takes all
  if (turn.is_active) {
    queue_.raise(turn.alert, before);
  } else {
    queue_.end(turn.alert, at, before);
  }
}

// What was told before the start is not known, only what can have been told after the cursor.
void AlertPeer::catch_up(output::FollowedLedger& ledger) {
  if (!caught_up_) return;
  const engine::Feed feed = ledger.changes_after(*caught_up_, output::FollowedLedger::kAtOnce);
  if (feed.gap) {
    gone_ += static_cast<std::uint64_t>(feed.gap->last - feed.gap->first + 1);
    health_.say(Priority::kWarning, "the changes " + std::to_string(feed.gap->first) + " to " +
                                        std::to_string(feed.gap->last) +
                                        " were gone before they could be told. Alerts that ended by them end by "
                                        "themselves within " +
                                        std::to_string(queue_.validity().count()) + " s");
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
      queue_.end(std::make_shared<const Alert>(std::move(alert)), change.at, *caught_up_);
    }
  }
}

void AlertPeer::send() {
  if (ledger_id_.empty() || is_out_ || !health_.may_send()) return;
  std::string body = queue_.next(clock_.steady(), clock_.wall());
  if (body.empty()) return;
  is_out_ = true;
  post_.send(address_,
             {.url = address_.url + "/api/v2/alerts", .content_type = "application/json", .body = std::move(body)},
             [this](const Answer& answer) { finish(answer); });
}

void AlertPeer::finish(const Answer& answer) {
  is_out_ = false;
  const auto now = clock_.steady();
  if (answer.is_taken()) {
    queue_.taken(now);
    // One that was away may have been started anew, and knows nothing then.
    if (health_.succeeded()) queue_.tell_all_again(now);
  } else if (answer.is_refusal()) {
    health_.answered(answer.problem);
    if (const AlertPointer alert = queue_.refused(now)) {
      health_.say(Priority::kWarning, "the alert with the labels " + alert->labels + " is refused: " + answer.problem +
                                          ". All others are told; this one is tried again later");
    }
  } else {
    queue_.failed();
    health_.failed(answer.problem, answer.try_after);
  }
}

milliseconds AlertPeer::until_next() const {
  if (caught_up_) return milliseconds(0);
  if (is_out_) return milliseconds::max();
  const auto due = queue_.due();
  if (!due) return milliseconds::max();
  const auto at = std::max(*due, health_.next());
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(at - clock_.steady()));
}

output::Report AlertPeer::report() const {
  output::Report report{.publisher = name_,
                        .peer = address_.peer,
                        .ledger_id = ledger_id_,
                        .through = queue_.through(caught_up_ ? std::min(*caught_up_, seen_) : seen_),
                        .told = queue_.told(),
                        .lost = gone_ + queue_.lost(),
                        .last_success = {},
                        .last_error_at = {},
                        .last_error = {}};
  health_.fill(report);
  return report;
}

}  // namespace polaiga::alertmanager
