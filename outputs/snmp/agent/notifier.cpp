#include "agent/notifier.h"

#include <algorithm>
#include <utility>

namespace polaiga::snmp {

using engine::ChangeNumber;
using engine::Priority;
using std::chrono::milliseconds;

Notifier::Notifier(const Places& places, NotificationSink& sink, const AlarmView& view, const engine::Clock& clock,
                   Read read, Oldest oldest, Tell tell, std::chrono::seconds heartbeat)
    : places_(places),
      sink_(sink),
      view_(view),
      clock_(clock),
      read_changes_(std::move(read)),
      oldest_(std::move(oldest)),
      tell_(std::move(tell)),
      heartbeat_(heartbeat) {}

void Notifier::begin(const std::string& ledger_id, ChangeNumber through) {
  ledger_id_ = ledger_id;
  through_ = settled_ = read_ = previous_ = through;
  on_the_way_.clear();
  heartbeat_at_ = {};
}

void Notifier::look_for_told() {
  if (settled_ == 0 || !read_changes_(settled_ - 1, 1).gap) return;
  on_the_way_.clear();
  --settled_;
  through_ = read_ = previous_ = settled_;
}

void Notifier::go_on(ChangeNumber last) {
  take_answers();
  if (ledger_id_.empty()) return;
  if (sink_.generation() != generation_ || !sink_.is_open()) {
    // What was on its way may have been lost, so it is told again.
    on_the_way_.clear();
    read_ = through_;
    previous_ = settled_;
    if (sink_.generation() != generation_) heartbeat_at_ = {};
    generation_ = sink_.generation();
  }
  if (!sink_.is_open()) return;
  while (read_ != last && on_the_way_.size() < kMostOnTheWay) {
    const engine::Feed feed = read_changes_(read_, kMostOnTheWay - on_the_way_.size());
    if (feed.gap) {
      if (!tell_gap(*feed.gap)) return;
      continue;
    }
    for (const engine::StoredChange& one : feed.changes) {
      if (one.change.number > last) break;
      pass_to(one.change.number - 1);
      if (!one.change.is_quiet && !tell(change_row(one))) return;
      pass_to(one.change.number);
    }
    if (feed.through == read_ || read_ >= last) break;
    pass_to(std::min(feed.through, last));
  }
  send_heartbeat(last);
}

milliseconds Notifier::until_next() const {
  if (heartbeat_.count() == 0 || !sink_.is_open()) return std::chrono::hours(1);
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(heartbeat_at_ - clock_.steady()));
}

void Notifier::take_answers() {
  for (const NotificationSink::Answer& answer : sink_.take_answers()) {
    const auto one = std::ranges::find(on_the_way_, answer.id, &OnTheWay::id);
    if (one == on_the_way_.end()) continue;
    one->is_answered = true;
    if (answer.error == 0) continue;
    // To tell it again would not help, and nothing after it would ever be told.
    ++refused_;
    refusal_ = answer.error;
    if (one->number != 0) {
      one->lost = 1;
      tell_(Priority::kWarning, "the master agent refuses the notification of change " + std::to_string(one->number) +
                                    " (error " + std::to_string(answer.error) + "); it is left out");
      one->number = 0;
    }
  }
  while (!on_the_way_.empty() && on_the_way_.front().is_answered) {
    settle(on_the_way_.front());
    on_the_way_.pop_front();
  }
  if (on_the_way_.empty()) through_ = read_;
}

void Notifier::settle(const OnTheWay& one) {
  last_success_ = clock_.wall();
  if (one.through != 0) through_ = one.through;
  lost_ += one.lost;
  cut_ += one.is_cut ? 1 : 0;
  if (one.previous >= 0) settled_ = one.previous;
  if (one.number == 0) return;
  ++told_;
}

// Retention took changes; or the ledger was put back to an earlier state, and does not have them yet.
bool Notifier::tell_gap(const engine::Feed::Gap& gap) {
  const bool is_put_back = gap.first <= read_;
  const ChangeNumber next = is_put_back ? gap.first - 1 : gap.last;
  const std::vector<Variable> variables{
      {places_.scalar(kLedgerArc, kLedgerId), text(ledger_id_)},
      {places_.scalar(kLedgerArc, kLostFirst), unsigned_number(static_cast<std::uint64_t>(gap.first))},
      {places_.scalar(kLedgerArc, kLostLast), unsigned_number(static_cast<std::uint64_t>(gap.last))},
  };
  const auto lost = is_put_back ? 0 : static_cast<std::uint64_t>(gap.last - gap.first + 1);
  OnTheWay one;
  one.through = next;
  one.previous = next;
  one.lost = lost;
  if (!send(NotificationType::kChangesLost, variables, one)) return false;
  tell_(Priority::kWarning,
        is_put_back ? "the ledger was put back to change " + std::to_string(next) +
                          "; managers were told to read the active alarms"
                    : "the changes " + std::to_string(gap.first) + " to " + std::to_string(gap.last) +
                          " are not in the ledger any more, so managers were not told of them; they were told to read "
                          "the active alarms");
  read_ = next;
  previous_ = next;
  return true;
}

bool Notifier::tell(const ChangeRow& row) {
  OnTheWay one;
  one.through = row.number;
  one.number = row.number;
  one.previous = row.number;
  one.is_cut = is_cut(row);
  if (!send(notification_of(row), change_variables(places_, ledger_id_, row, previous_, view_.worst_of(row.dn)), one)) {
    return false;
  }
  previous_ = row.number;
  return true;
}

// What is not told is passed with what was told before it.
void Notifier::pass_to(ChangeNumber number) {
  read_ = number;
  if (on_the_way_.empty()) {
    through_ = number;
  } else {
    on_the_way_.back().through = number;
  }
}

bool Notifier::send(NotificationType type, const std::vector<Variable>& variables, OnTheWay one) {
  const auto id = sink_.notify(places_.notification(type), variables);
  if (!id) return false;
  one.id = *id;
  on_the_way_.push_back(one);
  return true;
}

void Notifier::send_heartbeat(ChangeNumber last) {
  const auto now = clock_.steady();
  if (heartbeat_.count() == 0 || now < heartbeat_at_ || on_the_way_.size() >= kMostOnTheWay) return;
  const auto number = [](ChangeNumber of) { return unsigned_number(static_cast<std::uint64_t>(of)); };
  const std::vector<Variable> variables{
      {places_.scalar(kLedgerArc, kLedgerId), text(ledger_id_)},
      {places_.scalar(kLedgerArc, kToldNumber), number(settled_)},
      {places_.scalar(kLedgerArc, kLastNumber), number(last)},
      {places_.scalar(kLedgerArc, kOldestNumber), number(oldest_())},
      {places_.scalar(kCountsArc, kActiveAlarms), unsigned_number(view_.alarms().size())},
  };
  if (send(NotificationType::kHeartbeat, variables, {})) heartbeat_at_ = now + heartbeat_;
}

}  // namespace polaiga::snmp
