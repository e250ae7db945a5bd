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
        {.peer = std::make_unique<AlertPeer>(one, resend, board_, with.post, with.clock, with.tell, with.random),
         .reading = Reading(with.clock, with.tell)});
  }
  for (const Address& one : peers.webhooks) {
    webhooks_.push_back(
        {.peer = std::make_unique<HookPeer>(one, identity, with.post, with.clock, with.tell, with.random),
         .reading = Reading(with.clock, with.tell)});
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
      for (const auto& one : alertmanagers_) one.peer->take(turn, at, before);
    }
  }
}

void Telling::take_all(ChangeNumber before) {
  std::set<ChangeNumber> numbers;
  for (const auto& one : ledger_.alarms()) numbers.insert(one.first);
  for (const ChangeNumber number : board_.alarms()) numbers.insert(number);
  take({numbers.begin(), numbers.end()}, before);
}

void Telling::must_begin() {
  for (auto& one : alertmanagers_) one.must_begin = true;
  for (auto& one : webhooks_) one.must_begin = true;
}

template <class Peer, class Work>
void Telling::attempt(Member<Peer>& member, const Work& work) {
  member.reading.attempt(member.peer->name(), [&] {
    if (member.must_begin) member.peer->begin(ledger_);
    member.must_begin = false;
    work(*member.peer);
  });
}

void Telling::look() {
  const ChangeNumber before = ledger_.number();
  const auto seen = ledger_.look();
  is_readable_ = !ledger_.problem() && ledger_.has_picture();
  if (seen.is_new) before_new_ = is_new_ ? std::min(before_new_, before) : before;
  is_new_ = is_new_ || seen.is_new;
  if (!is_readable_ || seen.is_new) return;  // with the next look the profile is known, too
  if (std::exchange(is_new_, false)) {
    profile_ = &ledger_.profile();
    const bool is_other = std::exchange(ledger_id_, ledger_.ledger_id()) != ledger_.ledger_id();
    take_all(is_other ? 0 : std::min(before_new_, ledger_.number()));
    must_begin();
  } else if (profile_ != &ledger_.profile()) {
    profile_ = &ledger_.profile();
    take_all(before);
  } else {
    take(seen.touched, before);
  }
  for (const auto& one : alertmanagers_) {
    if (!one.must_begin) one.peer->seen(ledger_.number());
  }
}

void Telling::go_on() {
  look();
  if (is_readable_ && !is_new_) {
    for (auto& one : alertmanagers_) attempt(one, [&](AlertPeer& peer) { peer.catch_up(ledger_); });
    for (auto& one : webhooks_) attempt(one, [&](HookPeer& peer) { peer.go_on(ledger_); });
  }
  // They go on with the picture that was read last.
  for (const auto& one : alertmanagers_) one.peer->send();
}

// What cannot be read is tried again when the ledger is looked at.
template <class Peer>
milliseconds Telling::until_next(const Member<Peer>& member) {
  const milliseconds until = member.peer->until_next();
  return member.reading.has_trouble() ? std::max(until, output::FollowedLedger::kLook) : until;
}

milliseconds Telling::until_next() const {
  milliseconds until = ledger_.until_next();
  if (!is_readable_) return std::max(until, output::FollowedLedger::kLook);
  for (const auto& one : alertmanagers_) until = std::min(until, until_next(one));
  for (const auto& one : webhooks_) until = std::min(until, until_next(one));
  return until;
}

std::vector<output::Report> Telling::reports() const {
  std::vector<output::Report> all;
  for (const auto& one : alertmanagers_) all.push_back(one.peer->report());
  for (const auto& one : webhooks_) all.push_back(one.peer->report());
  std::erase_if(all, [](const output::Report& one) { return one.ledger_id.empty(); });
  return all;
}

std::string Telling::status() const {
  const auto is_away = [](const auto& one) { return !one.peer->is_connected(); };
  const auto away = std::ranges::count_if(alertmanagers_, is_away) + std::ranges::count_if(webhooks_, is_away);
  std::string text = std::to_string(board_.size()) + " active alerts, " +
                     std::to_string(alertmanagers_.size() + webhooks_.size()) + " peers";
  if (away != 0) text += ", " + std::to_string(away) + " of them do not take what they are told";
  if (ledger_.problem()) text += "; the ledger cannot be read: " + *ledger_.problem();
  return text;
}

}  // namespace polaiga::alertmanager
