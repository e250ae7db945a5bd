#include "fleet_picture/picture.h"

namespace polaiga::web {

std::shared_ptr<const fleet::Overview> Picture::now() {
  const std::lock_guard lock(reading_);
  if (overview_ && std::chrono::steady_clock::now() - read_at_ < kFresh) return overview_;
  overview_ = std::make_shared<const fleet::Overview>(
      asking_.ask([](pqxx::transaction_base& transaction) { return fleet::read_overview(transaction); }));
  read_at_ = std::chrono::steady_clock::now();
  return overview_;
}

}  // namespace polaiga::web
