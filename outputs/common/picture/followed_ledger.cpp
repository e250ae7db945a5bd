#include "picture/followed_ledger.h"

#include <algorithm>
#include <utility>

#include "ledger/ledger.h"

namespace polaiga::output {

using engine::ChangeNumber;

FollowedLedger::FollowedLedger(std::string path, const engine::Clock& clock, Tell tell)
    : path_(std::move(path)),
      clock_(clock),
      tell_(std::move(tell)),
      profile_(std::make_shared<const engine::AlarmProfile>()) {}

FollowedLedger::~FollowedLedger() = default;

FollowedLedger::Seen FollowedLedger::look() {
  Seen seen;
  if (clock_.steady() < look_at_) return seen;
  try {
    if (feed_ && feed_->is_replaced()) {
      feed_.reset();
      must_begin_ = true;
    }
    if (!feed_) {
      open(seen);
    } else if (has_more_ || feed_->has_changed()) {
      read_on(seen);
    }
    if (problem_) tell_(engine::Priority::kNotice, "The ledger can be read again.");
    problem_.reset();
  } catch (const std::exception& error) {
    fail(error.what());
  }
  seen.has_more = has_more_;
  if (!has_more_) look_at_ = clock_.steady() + (feed_ ? kLook : kLookForLedger);
  return seen;
}

std::chrono::milliseconds FollowedLedger::until_next() const {
  return std::max(std::chrono::milliseconds(0),
                  std::chrono::ceil<std::chrono::milliseconds>(look_at_ - clock_.steady()));
}

void FollowedLedger::open(Seen& seen) {
  feed_.emplace(path_);
  // What has come up to now is read here. The answer does not matter: from now on it tells what comes after that.
  feed_->has_changed();
  // Another file of the same name and with as high a number may be one that was put back.
  if (has_picture_ && !must_begin_ && feed_->ledger_id() == ledger_id_) {
    read_on(seen);
  } else {
    begin(seen);
  }
}

// Reads all alarms. It takes as long as that takes: some 0.1 s for 10,000.
void FollowedLedger::begin(Seen& seen) {
  const engine::FeedStart start = feed_->start();
  std::map<ChangeNumber, OutputAlarm> alarms;
  for (std::size_t i = 0; i < start.alarms.size(); i += kAtOnce) {
    const auto part = start.alarms.begin() + static_cast<std::ptrdiff_t>(i);
    read_alarms({part, part + static_cast<std::ptrdiff_t>(std::min(kAtOnce, start.alarms.size() - i))}, alarms);
  }
  profile_ = feed_->next(start.number, 0).profile;
  seen.is_new = true;
  ledger_id_ = feed_->ledger_id();
  number_ = start.number;
  alarms_ = std::move(alarms);
  has_picture_ = true;
  must_begin_ = false;
  has_more_ = true;  // changes that came meanwhile, whose alarms may have been read before
}

void FollowedLedger::read_on(Seen& seen) {
  const engine::Feed found = feed_->next(number_, kAtOnce);
  profile_ = found.profile;
  note(found.damage);
  if (found.gap) {
    begin(seen);
    return;
  }
  std::set<ChangeNumber> touched;
  for (const engine::StoredChange& one : found.changes) {
    if (one.change.alarm != 0) touched.insert(one.change.alarm);
    if (one.change.other != 0) touched.insert(one.change.other);
  }
  seen.touched.assign(touched.begin(), touched.end());
  read_alarms(seen.touched, alarms_);
  has_more_ = found.through != number_;
  number_ = found.through;
}

void FollowedLedger::read_alarms(const std::vector<ChangeNumber>& numbers, std::map<ChangeNumber, OutputAlarm>& into) {
  if (numbers.empty()) return;
  const engine::FeedAlarms found = feed_->alarms(numbers);
  note(found.damage);
  const std::set<ChangeNumber> unread(found.unread.begin(), found.unread.end());
  for (const ChangeNumber number : numbers) {
    if (!unread.contains(number)) into.erase(number);
  }
  for (const engine::FeedAlarm& alarm : found.alarms) into.insert_or_assign(alarm.number, output_alarm(alarm));
}

void FollowedLedger::note(const std::vector<std::string>& damage) {
  constexpr std::size_t kMost = 1000;
  for (const std::string& one : damage) {
    if (noted_.size() < kMost && noted_.insert(one).second) {
      tell_(engine::Priority::kWarning, path_ + ": damaged rows are left out: " + one);
    }
  }
}

void FollowedLedger::fail(const std::string& problem) {
  feed_.reset();
  has_more_ = false;
  if (problem_ == problem) return;
  problem_ = problem;
  tell_(engine::Priority::kWarning, problem + "; it is tried again until it can be read");
}

engine::ChangeFeed& FollowedLedger::feed() {
  if (!feed_) throw engine::LedgerError(problem_.value_or(path_ + ": the ledger is not open"));
  return *feed_;
}

ChangeNumber FollowedLedger::oldest_number() { return feed_ ? feed_->oldest_number() : 0; }

engine::Feed FollowedLedger::changes_after(ChangeNumber number, std::size_t most) { return feed().next(number, most); }

std::optional<ChangeNumber> FollowedLedger::cursor(const std::string& publisher) { return feed().cursor(publisher); }

}  // namespace polaiga::output
