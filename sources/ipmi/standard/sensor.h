// The sensors of a controller, as its SDR repository describes them (IPMI 2.0, section 43).
#pragma once

#include <compare>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace polaiga::ipmi {

// What names a sensor in the event log and in the SDR repository.
struct SensorKey {
  std::uint8_t owner = 0;   // slave address (even) or software id (odd)
  std::uint8_t lun = 0;     // 0 to 3
  std::uint8_t number = 0;  // of the sensor

  auto operator<=>(const SensorKey&) const = default;  // NOLINT(modernize-use-nullptr): no pointer is meant
};

// Event/reading types (IPMI 2.0, table 42-1) that the program knows by name.
inline constexpr std::uint8_t kThresholdReading = 0x01;
inline constexpr std::uint8_t kSensorSpecificReading = 0x6F;

struct Sensor {
  SensorKey key;
  std::string name;                  // its id string, as the controller gives it; "" when it has none
  std::uint8_t entity_id = 0;        // IPMI 2.0, table 43-13
  std::uint8_t entity_instance = 0;  // 1 to 127
  std::uint8_t sensor_type = 0;      // IPMI 2.0, table 42-3
  std::uint8_t reading_type = 0;     // event/reading type
  bool is_event_only = false;        // it can not be read; only its log records tell of it
};

// A record of the repository that is not as the standard describes it. what() says what is wrong, without control
// characters.
struct BadRecord : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The sensors of a whole SDR (its five bytes of header included): one for a full record (01h) or an event-only one
// (03h) that shares nothing, one for each that shares a compact or event-only record (02h, 03h), none for records of
// other types. Throws BadRecord.
std::vector<Sensor> parse_sdr(std::span<const std::uint8_t> record);

// The state of a sensor, as an answer to Get Sensor Reading tells it (IPMI 2.0, section 35.14).
struct SensorState {
  bool is_available = false;   // the sensor is scanned, and has a reading
  std::uint16_t asserted = 0;  // a bit for each event offset that is in force now

  bool operator==(const SensorState&) const = default;
};

// `answer` is what follows the completion code. Of a threshold sensor the bits are those of the offsets 0, 2, 4, 7, 9
// and 11, which are the crossings that make it worse. Throws BadRecord.
SensorState parse_sensor_state(const Sensor& sensor, std::span<const std::uint8_t> answer);

}  // namespace polaiga::ipmi
