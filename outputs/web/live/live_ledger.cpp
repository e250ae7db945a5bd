#include "live/live_ledger.h"

#include <algorithm>
#include <utility>

#include "ledger/ledger.h"
#include "report/json_forms.h"

namespace polaiga::web {
namespace {

using engine::ChangeNumber;

// How often the ledger is looked at. SQLite says at once whether something was written.
constexpr std::chrono::milliseconds kLook{100};
constexpr std::chrono::milliseconds kLookForLedger{500};

constexpr std::size_t kRecent = 4096;
constexpr std::size_t kAtOnce = 500;

std::shared_ptr<const std::string> json_of(const engine::StoredChange& change, const std::string& ledger_id) {
  return std::make_shared<const std::string>(engine::stored_change_form(change, ledger_id).text());
}

}  // namespace

LiveLedger::LiveLedger(std::string path, std::function<void(const std::string&)> tell)
    : path_(std::move(path)), tell_(std::move(tell)), thread_([this] { run(); }) {}

LiveLedger::~LiveLedger() {
  {
    const std::lock_guard lock(mutex_);
    is_over_ = true;
  }
  over_.notify_all();
  thread_.join();
}

std::shared_ptr<const View> LiveLedger::view() const {
  const std::lock_guard lock(mutex_);
  return view_;
}

std::optional<std::string> LiveLedger::problem() const {
  const std::lock_guard lock(mutex_);
  return problem_;
}

LiveChanges LiveLedger::after(ChangeNumber number, std::size_t most) {
  {
    const std::lock_guard lock(mutex_);
    if (!recent_id_.empty() && number >= recent_after_ && number <= read_) {
      LiveChanges found{.ledger_id = recent_id_, .changes = {}, .through = read_, .gap = {}};
      auto next = std::ranges::upper_bound(recent_, number, {}, &LiveChange::number);
      for (; next != recent_.end() && found.changes.size() < most; ++next) found.changes.push_back(*next);
      if (next != recent_.end()) found.through = found.changes.empty() ? number : found.changes.back().number;
      return found;
    }
  }
  const std::lock_guard lock(old_mutex_);
  try {
    if (!old_ || old_->is_replaced()) old_.emplace(path_);
    engine::Feed feed = old_->next(number, most);
    LiveChanges found{.ledger_id = old_->ledger_id(), .changes = {}, .through = feed.through, .gap = feed.gap};
    for (const engine::StoredChange& one : feed.changes) {
      found.changes.push_back({one.change.number, json_of(one, found.ledger_id)});
    }
    return found;
  } catch (...) {
    old_.reset();  // another ledger is in its place, perhaps
    throw;
  }
}

void LiveLedger::run() {
  for (;;) {
    try {
      if (feed_ && feed_->is_replaced())
        throw engine::LedgerError(path_ + ": the ledger is gone, or another one is there");
      if (!feed_) {
        open();
      } else if (feed_->has_changed()) {
        read_changes();
        show(read_view());
      }
    } catch (const std::exception& error) {
      fail(error.what());
    }
    std::unique_lock lock(mutex_);
    const auto pause = feed_ ? kLook : kLookForLedger;
    if (over_.wait_for(lock, pause, [this] { return is_over_; })) return;
  }
}

void LiveLedger::open() {
  feed_.emplace(path_);
  reader_.emplace(path_);
  // What has come up to now is read here. The answer does not matter: from now on it tells what comes after that.
  feed_->has_changed();
  auto view = read_view();
  {
    const std::lock_guard lock(mutex_);
    if (recent_id_ != feed_->ledger_id()) {
      recent_.clear();
      recent_id_ = feed_->ledger_id();
      recent_after_ = read_ = view->of.number;
    }
  }
  read_changes();
  show(std::move(view));
}

void LiveLedger::read_changes() {
  for (;;) {
    const engine::Feed feed = feed_->next(read_, kAtOnce);
    std::vector<LiveChange> fresh;
    for (const engine::StoredChange& one : feed.changes) {
      fresh.push_back({one.change.number, json_of(one, feed_->ledger_id())});
    }
    const std::lock_guard lock(mutex_);
    if (feed.gap) {  // whoever is behind or ahead is told when the ledger is asked
      const bool was_put_back = feed.gap->first <= read_;
      recent_.clear();
      recent_after_ = read_ = was_put_back ? feed.gap->first - 1 : feed.gap->last;
      continue;
    }
    std::ranges::move(fresh, std::back_inserter(recent_));
    for (; recent_.size() > kRecent; recent_.pop_front()) recent_after_ = recent_.front().number;
    const bool is_all = feed.through == read_;
    read_ = feed.through;
    if (is_all) return;
  }
}

std::shared_ptr<const View> LiveLedger::read_view() {
  auto view = std::make_shared<View>();
  view->of = reader_->overview();
  view->left_out = reader_->left_out();
  view->version = ++version_;
  return view;
}

// All that the ledger says now has been read.
void LiveLedger::show(std::shared_ptr<const View> view) {
  bool was_unreadable = false;
  {
    const std::lock_guard lock(mutex_);
    view_ = std::move(view);
    was_unreadable = problem_.has_value();
    problem_.reset();
  }
  if (was_unreadable) tell_("The ledger can be read again.");
  changes_.notify();  // after the problem was reset, so that whoever asks now finds none
}

void LiveLedger::fail(const std::string& problem) {
  feed_.reset();
  reader_.reset();
  {
    const std::lock_guard lock(mutex_);
    if (problem_ == problem) return;
    problem_ = problem;
  }
  tell_(problem);
  changes_.notify();
}

}  // namespace polaiga::web
