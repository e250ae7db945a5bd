#include "collecting/silence_watch.h"

namespace polaiga::fleet {

using std::chrono::microseconds;

bool SilenceWatch::may_judge(bool is_all_read, Steady now, microseconds database_now) {
  if (!is_all_read) {
    since_.reset();
    return false;
  }
  if (since_) {
    const auto passed = std::chrono::duration_cast<microseconds>(now - since_->at);
    const microseconds ahead = database_now - since_->database - passed;
    if (std::chrono::abs(ahead) > microseconds(silent_after_) / kTolerated) since_.reset();
  }
  if (!since_) since_ = Since{.at = now, .database = database_now};
  return now - since_->at >= silent_after_;
}

}  // namespace polaiga::fleet
