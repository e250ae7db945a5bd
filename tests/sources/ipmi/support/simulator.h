// OpenIPMI's simulator (ipmi_sim) at a free port of loopback, with a board of three sensors and a log of two records:
// number 1, FAN1_TACH1, whose reading is below its lower non-critical threshold; 2, PSU3_STATUS, of which the offsets 0
// and 8 are set; 3, BIOSPOST_TIMEOUT, of which only the log tells. The records have the ids 5 and 7.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "support/program.h"
#include "support/temp_dir.h"

namespace polaiga::ipmi {

class Simulator {
 public:
  // May read, and no more.
  static constexpr std::string_view kUser = "watcher";
  static constexpr std::string_view kPassword = "not-a-secret";

  // It answers then. Throws std::runtime_error.
  Simulator();

  // As when the controller loses its power, and gets it again.
  void kill();
  void start();

  std::string target() const;
  std::uint16_t port() const { return port_; }

 private:
  engine::test::TempDir dir_;
  std::uint16_t port_;
  std::optional<engine::test::Child> process_;
};

}  // namespace polaiga::ipmi
