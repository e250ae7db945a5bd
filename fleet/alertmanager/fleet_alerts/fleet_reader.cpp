#include "fleet_alerts/fleet_reader.h"

#include <exception>
#include <utility>

#include "base/printable.h"
#include "database/schema.h"

namespace polaiga::alertmanager {

FleetReader::FleetReader(const std::string& url, std::string page_url, std::chrono::seconds every)
    : database_(url, "polaiga-alertmanager"),
      page_url_(std::move(page_url)),
      every_(every),
      thread_([this] { run(); }) {}

FleetReader::~FleetReader() {
  {
    const std::lock_guard lock(mutex_);
    is_over_ = true;
  }
  stops_.notify_all();
  thread_.join();
}

std::optional<FleetReader::Reading> FleetReader::take() {
  const std::lock_guard lock(mutex_);
  return std::exchange(latest_, std::nullopt);
}

FleetReader::Reading FleetReader::read() {
  try {
    if (!is_schema_checked_) {
      if (std::string problem = fleet::schema_problem(database_); !problem.empty()) {
        return {.found = {}, .problem = std::move(problem)};
      }
      is_schema_checked_ = true;
    }
    return {.found = read_fleet_alerts(database_, page_url_), .problem = {}};
  } catch (const std::exception& error) {
    is_schema_checked_ = false;  // another version may be there afterwards
    return {.found = {}, .problem = engine::printable(error.what())};
  }
}

void FleetReader::run() {
  std::unique_lock lock(mutex_);
  while (!is_over_) {
    lock.unlock();
    Reading reading = read();
    lock.lock();
    latest_ = std::move(reading);
    stops_.wait_for(lock, every_, [this] { return is_over_; });
  }
}

}  // namespace polaiga::alertmanager
