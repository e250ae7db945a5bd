#include "telling_alerts/telling.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

namespace polaiga::alertmanager {

using engine::ChangeNumber;
using engine::Moment;
using std::chrono::milliseconds;

Telling::Telling(const std::string& ledger, const Peers& peers, const Identity& identity, std::chrono::seconds resend,
                 const Surroundings& with)
    : clock_(with.clock), ledger_(ledger, with.clock, with.tell), board_(identity) {
  for (const Address& one : peers.alertmanagers) {
    alertmanagers_.push_back(
        std::make_unique<AlertPeer>(one, resend, board_, with.post, with.clock, with.tell, with.random));
  }
  for (const Address& one : peers.webhooks) {
    webhooks_.push_back(std::make_unique<HookPeer>(one, identity, with.post, with.clock, with.tell, with.random));
  }
}

// When alarms were over, or ceased to be heard: at their latest change.
std::map<ChangeNumber, Moment> Telling::latest_changes(ChangeNumber before) {
  std::map<ChangeNumber, Moment> latest;
  try {
    for (const engine::StoredChange& one : ledger_.changes_after(before, output::FollowedLedger::kAtOnce).changes) {
      latest[one.change.alarm] = one.change.at;
      if (one.change.other != 0) latest[one.change.other] = one.change.at;
    }
  } catch (const engine::LedgerError&) {
    // The time of now is nearly the same.
  }
  return latest;
}

void Telling::take(const std::vector<ChangeNumber>& alarms, ChangeNumber before) {
  std::optional<std::map<ChangeNumber, Moment>> latest;
  for (const ChangeNumber number : alarms) {
    const auto found = ledger_.alarms().find(number);
    const output::OutputAlarm* const alarm = found == ledger_.alarms().end() ? nullptr : &found->second;
    for (const AlertTurn& turn : board_.take(number, alarm, ledger_.ledger_id(), ledger_.profile())) {
      Moment at = clock_.wall();
      if (!turn.is_active) {
        if (!latest) latest = latest_changes(before);
        if (const auto change = latest->find(number); change != latest->end()) at = change->second;
      }
      for (const auto& peer : alertmanagers_) peer->take(turn, at, before);
    }
  }
}

void Telling::take_all(ChangeNumber before) {
  std::set<ChangeNumber> numbers;
  for (const auto& one : ledger_.alarms()) numbers.insert(one.first);
  for (const ChangeNumber number : board_.alarms()) numbers.insert(number);
  take({numbers.begin(), numbers.end()}, before);
}

void Telling::begin_peers() {
  must_begin_ = true;
  for (const auto& peer : alertmanagers_) peer->begin(ledger_);
  for (const auto& peer : webhooks_) peer->begin(ledger_);
  must_begin_ = false;
}

void Telling::look() {
  const ChangeNumber before = ledger_.number();
  const auto seen = ledger_.look();
  is_readable_ = !ledger_.problem() && ledger_.has_picture();
  is_new_ = is_new_ || seen.is_new;
  if (!is_readable_ || seen.is_new) return;  // with the next look the profile is known, too
  if (std::exchange(is_new_, false)) {
    profile_ = &ledger_.profile();
    const bool is_other = std::exchange(ledger_id_, ledger_.ledger_id()) != ledger_.ledger_id();
    take_all(is_other ? 0 : std::min(before, ledger_.number()));
    must_begin_ = true;
  } else if (profile_ != &ledger_.profile()) {
    profile_ = &ledger_.profile();
    take_all(before);
  } else {
    take(seen.touched, before);
  }
  if (must_begin_) begin_peers();
  for (const auto& peer : alertmanagers_) peer->seen(ledger_.number());
}

void Telling::go_on() {
  try {
    look();
    if (is_readable_ && !is_new_) {
      for (const auto& peer : alertmanagers_) peer->catch_up(ledger_);
      for (const auto& peer : webhooks_) peer->go_on(ledger_);
    }
  } catch (const engine::LedgerError&) {
    is_readable_ = false;  // the next look says what is wrong, and tries again
  }
  // They go on with the picture that was read last.
  for (const auto& peer : alertmanagers_) peer->send();
}

milliseconds Telling::until_next() const {
  milliseconds until = ledger_.until_next();
  if (!is_readable_) return std::max(until, output::FollowedLedger::kLook);
  for (const auto& peer : alertmanagers_) until = std::min(until, peer->until_next());
  for (const auto& peer : webhooks_) until = std::min(until, peer->until_next());
  return until;
}

std::vector<output::Report> Telling::reports() const {
  std::vector<output::Report> all;
  for (const auto& peer : alertmanagers_) all.push_back(peer->report());
  for (const auto& peer : webhooks_) all.push_back(peer->report());
  std::erase_if(all, [](const output::Report& one) { return one.ledger_id.empty(); });
  return all;
}

std::string Telling::status() const {
  const auto is_away = [](const auto& peer) { return !peer->is_connected(); };
  const auto away = std::ranges::count_if(alertmanagers_, is_away) + std::ranges::count_if(webhooks_, is_away);
  std::string text = std::to_string(board_.size()) + " active alerts, " +
                     std::to_string(alertmanagers_.size() + webhooks_.size()) + " peers";
  if (away != 0) text += ", " + std::to_string(away) + " of them do not take what they are told";
  if (ledger_.problem()) text += "; the ledger cannot be read: " + *ledger_.problem();
  return text;
}

}  // namespace polaiga::alertmanager
