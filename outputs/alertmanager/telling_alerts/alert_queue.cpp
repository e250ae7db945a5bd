#include "telling_alerts/alert_queue.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace polaiga::alertmanager {

using engine::ChangeNumber;
using engine::Moment;
using std::chrono::seconds;

namespace {

constexpr seconds kShortestValidity{300};
constexpr int kResendsOfValidity = 4;

}  // namespace

AlertQueue::AlertQueue(seconds resend)
    : resend_(resend), validity_(std::max(kResendsOfValidity * resend, kShortestValidity)) {}

void AlertQueue::wait_for(std::optional<ChangeNumber>& member, ChangeNumber before) {
  if (member) return;  // it has waited since an earlier one
  member = before;
  befores_.insert(before);
}

void AlertQueue::settle(std::optional<ChangeNumber>& member) {
  if (member) befores_.erase(befores_.find(*member));
  member.reset();
}

void AlertQueue::raise(const AlertPointer& alert, ChangeNumber before) { put(alert, std::nullopt, before); }

void AlertQueue::end(const AlertPointer& alert, Moment at, ChangeNumber before) {
  const auto found = entries_.find(alert->labels);
  if (found != entries_.end() && found->second->ended >= at) return;  // what is known of it came later
  put(alert, at, before);
  if (ended_ > kMostEnded) drop_old_ends();
}

void AlertQueue::put(const AlertPointer& alert, std::optional<Moment> ended, ChangeNumber before) {
  const auto found = entries_.find(alert->labels);
  if (found == entries_.end()) {
    waiting_.push_back({.alert = alert, .ended = ended, .before = {}, .changed = {}, .end_taken = {}});
    wait_for(waiting_.back().before, before);
    entries_.emplace(alert->labels, std::prev(waiting_.end()));
    if (ended) ++ended_;
    return;
  }
  const auto entry = found->second;
  if (entry->ended.has_value() != ended.has_value()) ended_ += ended ? 1U : ~std::size_t{0};
  entry->alert = alert;
  entry->ended = ended;
  entry->end_taken.reset();
  if (entry->place == Place::kOut) {
    wait_for(entry->changed, before);
    return;
  }
  wait_for(entry->before, before);
  if (entry->place == Place::kWaiting) return;
  waiting_.splice(waiting_.end(), entry->place == Place::kTold ? told_ : refused_, entry);
  entry->place = Place::kWaiting;
}

void AlertQueue::erase(Entries& from, Entries::iterator entry) {
  settle(entry->before);
  settle(entry->changed);
  if (entry->ended) --ended_;
  entries_.erase(entry->alert->labels);
  from.erase(entry);
}

// Many at once, since to find them takes a look at all.
void AlertQueue::drop_old_ends() {
  constexpr std::size_t kAtOnce = kMostEnded / 20;
  const std::size_t dropped = drop_ends(told_, kAtOnce);
  if (dropped == 0) drop_ends(waiting_, kAtOnce);
}

std::size_t AlertQueue::drop_ends(Entries& from, std::size_t most) {
  std::size_t dropped = 0;
  for (auto entry = from.begin(); entry != from.end() && dropped < most;) {
    const auto next = std::next(entry);
    if (entry->ended) {
      if (entry->before) ++lost_;
      erase(from, entry);
      ++dropped;
    }
    entry = next;
  }
  return dropped;
}

bool AlertQueue::is_due(const Entry& entry, Steady now) const {
  if (entry.place == Place::kRefused) return now - entry.told_at >= kRefusedAgain;
  return now - entry.told_at >= resend_ || entry.told_at < forgotten_;
}

void AlertQueue::fill_from(Entries& from, Steady now, bool all) {
  while (!from.empty()) {
    const auto entry = from.begin();
    if (!all && !is_due(*entry, now)) return;
    if (entry->end_taken && now - *entry->end_taken >= validity_) {
      erase(from, entry);
      continue;
    }
    // What ends because another begins is told with it.
    const bool belongs = !out_.empty() && out_.back().alert->alarm == entry->alert->alarm;
    if (out_.size() >= kMostInRequest && !(belongs && out_.size() < 2 * kMostInRequest)) return;
    entry->place = Place::kOut;
    out_.splice(out_.end(), from, entry);
  }
}

void AlertQueue::fill(Steady now) {
  if (!halves_.empty()) {
    out_ = std::move(halves_.back());
    halves_.pop_back();
    return;
  }
  fill_from(waiting_, now, true);
  fill_from(told_, now, false);
  if (out_.empty()) fill_from(refused_, now, false);
}

std::string AlertQueue::body(Moment wall) {
  std::string text = "[";
  for (auto entry = out_.begin(); entry != out_.end(); ++entry) {
    const Moment ends = entry->ended ? std::min(*entry->ended, wall) : wall + validity_.count();
    std::string form = alert_form(*entry->alert, std::min(entry->alert->starts_at, entry->ended ? ends : wall), ends);
    if (text.size() > 1 && text.size() + form.size() > kMostBytes) {
      halves_.emplace_back();
      halves_.back().splice(halves_.back().end(), out_, entry, out_.end());
      break;
    }
    if (text.size() > 1) text += ',';
    text += form;
  }
  return text + "]";
}

std::string AlertQueue::next(Steady now, Moment wall) {
  fill(now);
  return out_.empty() ? "" : body(wall);
}

void AlertQueue::take(Entries::iterator entry, Steady now) {
  if (entry->before) ++told_count_;
  settle(entry->before);
  entry->told_at = now;
  if (entry->changed) {
    entry->before = std::exchange(entry->changed, std::nullopt);
    entry->place = Place::kWaiting;
    waiting_.splice(waiting_.end(), out_, entry);
    return;
  }
  if (entry->ended && !entry->end_taken) entry->end_taken = now;
  entry->place = Place::kTold;
  told_.splice(told_.end(), out_, entry);
}

void AlertQueue::taken(Steady now) {
  while (!out_.empty()) take(out_.begin(), now);
}

void AlertQueue::failed() {
  while (!halves_.empty()) {
    out_.splice(out_.end(), halves_.back());
    halves_.pop_back();
  }
  for (Entry& entry : out_) {
    entry.place = Place::kWaiting;
    if (!entry.changed) continue;
    if (entry.before) {
      settle(entry.changed);
    } else {
      entry.before = std::exchange(entry.changed, std::nullopt);
    }
  }
  waiting_.splice(waiting_.begin(), out_);
}

AlertPointer AlertQueue::refused(Steady now) {
  if (out_.size() > 1) {
    const auto middle = std::next(out_.begin(), static_cast<std::ptrdiff_t>(out_.size() / 2));
    Entries second;
    second.splice(second.end(), out_, middle, out_.end());
    halves_.push_back(std::move(second));
    halves_.push_back(std::move(out_));
    out_.clear();
    return nullptr;
  }
  const auto entry = out_.begin();
  AlertPointer alert = entry->alert;
  if (entry->changed) {
    settle(entry->before);
    entry->before = std::exchange(entry->changed, std::nullopt);
    entry->place = Place::kWaiting;
    waiting_.splice(waiting_.end(), out_, entry);
    return alert;
  }
  if (entry->ended) {
    if (!entry->end_taken) ++lost_;
    erase(out_, entry);
    return alert;
  }
  settle(entry->before);
  entry->told_at = now;
  entry->place = Place::kRefused;
  refused_.splice(refused_.end(), out_, entry);
  return alert;
}

std::optional<AlertQueue::Steady> AlertQueue::due() const {
  if (!waiting_.empty() || !halves_.empty()) return Steady{};
  std::optional<Steady> earliest;
  const auto consider = [&](Steady at) { earliest = earliest ? std::min(*earliest, at) : at; };
  if (!told_.empty()) {
    const Entry& first = told_.front();
    consider(first.told_at < forgotten_ ? Steady{} : first.told_at + resend_);
  }
  if (!refused_.empty()) consider(refused_.front().told_at + kRefusedAgain);
  return earliest;
}

void AlertQueue::begin_anew() {
  befores_.clear();
  for (auto& [labels, entry] : entries_) {
    if (entry->before) entry->before = *befores_.insert(0);
    if (entry->changed) entry->changed = *befores_.insert(0);
  }
}

ChangeNumber AlertQueue::through(ChangeNumber seen) const {
  return befores_.empty() ? seen : std::min(seen, *befores_.begin());
}

}  // namespace polaiga::alertmanager
