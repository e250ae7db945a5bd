#include "fleet_picture/picture.h"

#include <exception>

namespace polaiga::web {

std::shared_ptr<const fleet::Overview> Picture::read() {
  return std::make_shared<const fleet::Overview>(
      asking_.ask([](pqxx::transaction_base& transaction) { return fleet::read_overview(transaction); }));
}

std::shared_ptr<const fleet::Overview> Picture::now(std::chrono::milliseconds oldest) {
  std::unique_lock lock(mutex_);
  while (true) {
    const auto at = std::chrono::steady_clock::now();
    if (overview_ && at - read_at_ < oldest) return overview_;
    if (problem_ && at - failed_at_ < kFresh) std::rethrow_exception(problem_);
    if (!is_reading_) break;
    if (const auto away = asking_.away()) throw fleet::DatabaseAway(away->why);
    was_read_.wait_for(lock, kFresh);
  }
  is_reading_ = true;
  lock.unlock();
  std::shared_ptr<const fleet::Overview> fresh;
  std::exception_ptr problem;
  try {
    fresh = read();
  } catch (...) {
    problem = std::current_exception();
  }
  lock.lock();
  is_reading_ = false;
  was_read_.notify_all();
  problem_ = problem;
  failed_at_ = std::chrono::steady_clock::now();
  if (problem) std::rethrow_exception(problem);
  overview_ = fresh;
  read_at_ = std::chrono::steady_clock::now();
  return fresh;
}

}  // namespace polaiga::web
