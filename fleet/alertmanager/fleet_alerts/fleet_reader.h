// Reads the fleet's database again and again, in a thread of its own, since an answer may take long.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "fleet_alerts/fleet_alerts.h"

namespace polaiga::alertmanager {

class FleetReader {
 public:
  struct Reading {
    FleetAlerts found;
    std::string problem;  // why it could not be read; "": it could
  };

  // `url` as Database takes it. `every` is the pause between two readings. Throws std::invalid_argument.
  FleetReader(const std::string& url, std::string page_url, std::chrono::seconds every);
  // Waits for the reading that is under way.
  ~FleetReader();
  FleetReader(const FleetReader&) = delete;
  FleetReader& operator=(const FleetReader&) = delete;

  // The latest one, once.
  std::optional<Reading> take();

 private:
  Reading read();
  void run();

  fleet::Database database_;
  std::string page_url_;
  std::chrono::seconds every_;
  bool is_schema_checked_ = false;
  std::mutex mutex_;
  std::condition_variable stops_;
  std::optional<Reading> latest_;
  bool is_over_ = false;
  std::thread thread_;
};

}  // namespace polaiga::alertmanager
