// The overview of the fleet, which many look at: it is read anew once a second at most, for all of them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>

#include "questions/asking.h"
#include "questions/overview.h"

namespace polaiga::web {

class Picture {
 public:
  static constexpr std::chrono::milliseconds kFresh{1000};
  static constexpr std::chrono::milliseconds kLately{5000};  // for counts beside what was asked for

  // It must outlive this.
  explicit Picture(fleet::Asking& asking) : asking_(asking) {}

  // At most so old. Who comes while it is being read waits for it, unless the database is away: it may take long
  // until that answers. Throws as Asking does; all who ask within kFresh of a failure are told of the same one.
  std::shared_ptr<const fleet::Overview> now(std::chrono::milliseconds oldest = kFresh);

 private:
  std::shared_ptr<const fleet::Overview> read();

  fleet::Asking& asking_;
  std::mutex mutex_;
  std::condition_variable was_read_;
  bool is_reading_ = false;
  std::shared_ptr<const fleet::Overview> overview_;
  std::chrono::steady_clock::time_point read_at_ = {};
  std::exception_ptr problem_;  // why it could not be read the last time
  std::chrono::steady_clock::time_point failed_at_ = {};
};

}  // namespace polaiga::web
