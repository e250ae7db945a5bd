#include "questions/asking.h"

#include <ctime>
#include <utility>

namespace polaiga::fleet {

Asking::Asking(const std::string& url, const std::string& application_name) {
  for (std::size_t i = 0; i < kConnections; ++i) free_.push_back(std::make_unique<Database>(url, application_name));
}

std::optional<Asking::Away> Asking::away() const {
  const std::lock_guard lock(mutex_);
  return away_;
}

void Asking::note_answer() {
  const std::lock_guard lock(mutex_);
  away_.reset();
}

void Asking::note_away(const char* why) {
  const std::lock_guard lock(mutex_);
  if (!away_) away_ = Away{.since = std::time(nullptr), .why = {}};
  away_->why = why;
  try_again_ = std::chrono::steady_clock::now() + kTryAgainAfter;
}

Asking::Lease::Lease(Asking& asking) : asking_(asking) {
  std::unique_lock lock(asking.mutex_);
  const auto may_go_on = [&] { return !asking.free_.empty() || asking.away_; };
  if (!asking.is_free_.wait_for(lock, kFreeWithin, may_go_on)) {
    throw TooSlow("All connections to the database are in use by others; ask again in a few seconds");
  }
  if (asking.away_) {
    if (asking.is_tried_ || asking.free_.empty() || std::chrono::steady_clock::now() < asking.try_again_) {
      throw DatabaseAway(asking.away_->why);
    }
    asking.is_tried_ = true;
    is_trying_ = true;
  }
  database_ = std::move(asking.free_.back());
  asking.free_.pop_back();
}

Asking::Lease::~Lease() {
  {
    const std::lock_guard lock(asking_.mutex_);
    asking_.free_.push_back(std::move(database_));
    if (is_trying_) asking_.is_tried_ = false;
  }
  asking_.is_free_.notify_one();
}

}  // namespace polaiga::fleet
