// The questions that the program asks a controller. Nothing here changes anything in it.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "controller/session.h"
#include "standard/sel_record.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {

// Answer to Get SEL Info (IPMI 2.0, section 31.2). Times are as they came: seconds on the controller's clock.
struct LogInfo {
  std::uint16_t entries = 0;
  std::uint16_t free_bytes = 0;  // FFFFh: 65,535 or more
  std::uint32_t added = 0;       // when the last record was added
  std::uint32_t erased = 0;      // when the log was erased
  bool has_overflowed = false;

  bool operator==(const LogInfo&) const = default;
};

struct LogEntry {
  // Of the record that follows, as the controller says; kLastRecord: there is none, or it would be this one. Nothing
  // hinders a controller from a chain that comes back to an earlier record.
  std::uint16_t next_id = 0;
  SelRecord record;
};

// Answer to Get SDR Repository Info (IPMI 2.0, section 33.9), as far as it tells whether the repository is as before.
struct RepositoryInfo {
  std::uint16_t records = 0;
  std::uint32_t added = 0;
  std::uint32_t erased = 0;

  bool operator==(const RepositoryInfo&) const = default;
};

using Guid = std::array<std::uint8_t, 16>;

class Controller {
 public:
  static constexpr std::uint16_t kFirstRecord = 0x0000;
  static constexpr std::uint16_t kLastRecord = 0xFFFF;

  // The session must outlive this.
  explicit Controller(Session& session) : session_(session) {}

  // All throw ControllerGone, also when the answer makes no sense, and ControllerRefuses when this user may not ask.
  LogInfo log_info();
  // Nothing: there is no record of that id. kFirstRecord and kLastRecord name the first and the last one.
  std::optional<LogEntry> log_entry(std::uint16_t id);
  RepositoryInfo repository_info();
  // Reads the whole repository, or the controller's own records where it has none. No two sensors have one key.
  // `complain` is told of each record that cannot be understood, which is left out.
  std::vector<Sensor> sensors(const std::function<void(const std::string&)>& complain);
  // Nothing: the sensor cannot be read now, or not at all. Only the controller's own sensors (owner 20h, LUN 0) can be.
  std::optional<SensorState> state(const Sensor& sensor);
  // Nothing: the controller has none.
  std::optional<Guid> guid();

 private:
  Session& session_;
};

}  // namespace polaiga::ipmi
