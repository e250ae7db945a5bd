#include "alarms/measures.h"

#include <algorithm>
#include <tuple>

namespace polaiga::engine {
namespace {

// Finds floods in times that ascend. At each moment the ten minutes that end with it count, so that a flood is found
// wherever it begins.
class Floods {
 public:
  Floods(const std::vector<Moment>& times, Moment now) : times_(times), now_(now) {}

  std::vector<Flood> find() {
    for (std::size_t i = 0; i < times_.size(); ++i) {
      if (first_ && times_[i] >= end_after(i - 1)) end(i - 1);
      while (times_[i] - times_[oldest_] >= kTenMinutes) ++oldest_;
      if (!first_ && i - oldest_ + 1 > kMostBeforeFlood) first_ = std::max(oldest_, next_);
    }
    if (first_) end(times_.size() - 1);
    return std::move(found_);
  }

 private:
  // When the flood is over if this alarm is its last one: then only four alarms, this one among them, are less than ten
  // minutes old.
  Moment end_after(std::size_t last) const { return times_[last + 1 - kLeastInFlood] + kTenMinutes; }

  void end(std::size_t last) {
    const Moment over = end_after(last);
    found_.push_back({.began = times_[*first_],
                      .ended = over <= now_ ? std::optional(over) : std::nullopt,
                      .alarms = last - *first_ + 1});
    first_.reset();
    next_ = last + 1;
  }

  const std::vector<Moment>& times_;
  Moment now_;
  std::size_t oldest_ = 0;            // of those in the ten minutes
  std::optional<std::size_t> first_;  // of the flood that goes on
  std::size_t next_ = 0;              // the first alarm that is in no flood yet
  std::vector<Flood> found_;
};

// How many raises follow another one within a time, at most.
std::uint64_t most_again(const std::vector<Moment>& raises, Moment within) {
  std::size_t first = 0;
  std::size_t most = 0;
  for (std::size_t i = 0; i < raises.size(); ++i) {
    while (raises[i] - raises[first] >= within) ++first;
    most = std::max(most, i - first);
  }
  return most;
}

}  // namespace

Measuring::Measuring(Moment now, std::optional<Moment> raised_after, const ChatteringLimit& limit)
    : now_(now), raised_after_(raised_after), limit_(limit) {}

// A clock that went back makes no time negative.
void Measuring::Sum::add(Moment from, Moment to) {
  ++alarms;
  seconds += std::max<Moment>(to - from, 0);
}

MeanTime Measuring::Sum::mean() const {
  if (alarms == 0) return {};
  const auto count = static_cast<Moment>(alarms);
  return {.alarms = alarms, .seconds = (seconds + count / 2) / count};
}

void Measuring::add(const AlarmFact& fact) {
  if (!fact.ended) add_active(fact);
  const auto is_within = [&](Moment span) { return fact.created > now_ - span && fact.created <= now_; };
  counted_.in_ten_minutes += is_within(kTenMinutes) ? 1U : 0U;
  counted_.in_hour += is_within(kOneHour) ? 1U : 0U;
  counted_.in_day += is_within(kOneDay) ? 1U : 0U;
  if (is_looked_at(fact.created)) add_new(fact);
  for (const AlarmFact::Raise& raise : fact.raises) {
    if (is_looked_at(raise.at)) raised(fact.dn, raise.code, raise.name, raise.at).raises.push_back(raise.at);
  }
}

void Measuring::add_active(const AlarmFact& fact) {
  ++counted_.active;
  ++counted_.active_by_severity.at(static_cast<std::size_t>(fact.severity));
  ++counted_.active_by_state.at(static_cast<std::size_t>(fact.state));
  if (now_ - fact.reported <= kStaleAfter) return;
  counted_.stale.push_back({.alarm = fact.number,
                            .fault = {fact.dn, fact.code, fact.name},
                            .severity = fact.severity,
                            .created = fact.created,
                            .reported = fact.reported});
}

void Measuring::add_new(const AlarmFact& fact) {
  ++counted_.new_alarms;
  created_.push_back(fact.created);
  ++raised(fact.dn, fact.code, fact.name, fact.created).alarms;
  if (fact.acknowledged) to_acknowledge_.add(fact.created, *fact.acknowledged);
  if (fact.ended && !fact.is_merged) to_clear_.add(fact.created, *fact.ended);
}

Measuring::Raised& Measuring::raised(const std::string& dn, std::uint32_t code, const std::string& name, Moment at) {
  Raised& found = by_fault_[{dn, code}];
  if (found.name.empty() || at >= found.named) {
    found.name = name;
    found.named = at;
  }
  return found;
}

Measures Measuring::result() const {
  Measures measures = counted_;
  std::ranges::sort(measures.stale, {}, [](const Stale& one) { return std::tuple(one.reported, one.alarm); });
  std::vector<Moment> created = created_;
  std::ranges::sort(created);
  if (!created.empty()) measures.first_new = created.front();
  measures.floods = Floods(created, now_).find();
  measures.chattering = chattering();
  measures.worst = worst();
  measures.to_acknowledge = to_acknowledge_.mean();
  measures.to_clear = to_clear_.mean();
  return measures;
}

std::vector<Chattering> Measuring::chattering() const {
  std::vector<Chattering> found;
  for (const auto& [fault, raised] : by_fault_) {
    if (raised.raises.size() <= limit_.times) continue;
    std::vector<Moment> raises = raised.raises;
    std::ranges::sort(raises);
    const std::uint64_t most = most_again(raises, limit_.within);
    if (most <= limit_.times) continue;
    found.push_back({.fault = {fault.first, fault.second, raised.name},
                     .most_again = most,
                     .raises = raises.size(),
                     .last = raises.back()});
  }
  // Those that are as bad as each other stay in the order of their DN and code.
  std::ranges::stable_sort(found, std::ranges::greater{},
                           [](const Chattering& one) { return std::tuple(one.most_again, one.raises); });
  return found;
}

std::vector<Offender> Measuring::worst() const {
  std::vector<Offender> found;
  for (const auto& [fault, raised] : by_fault_) {
    if (raised.alarms > 0) found.push_back({{fault.first, fault.second, raised.name}, raised.alarms});
  }
  std::ranges::stable_sort(found, std::ranges::greater{}, &Offender::alarms);
  found.resize(std::min(found.size(), kWorstOffenders));
  return found;
}

}  // namespace polaiga::engine
