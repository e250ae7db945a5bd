// The overview of the fleet, which many look at: it is read anew once a second at most.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>

#include "questions/asking.h"
#include "questions/overview.h"

namespace polaiga::web {

class Picture {
 public:
  static constexpr std::chrono::milliseconds kFresh{1000};

  // It must outlive this.
  explicit Picture(fleet::Asking& asking) : asking_(asking) {}

  // At most kFresh old. Who comes while it is being read waits for it. Throws as Asking does.
  std::shared_ptr<const fleet::Overview> now();

 private:
  fleet::Asking& asking_;
  std::mutex reading_;
  std::shared_ptr<const fleet::Overview> overview_;
  std::chrono::steady_clock::time_point read_at_;
};

}  // namespace polaiga::web
