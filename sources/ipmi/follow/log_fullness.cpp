#include "follow/log_fullness.h"

namespace polaiga::ipmi {
namespace {

constexpr unsigned kRecordSize = 16;

struct Threshold {
  unsigned percent;
  std::uint8_t offset;  // of a threshold sensor: upper non-critical, critical, non-recoverable, going high
};
constexpr Threshold kThresholds[] = {{75, 7}, {90, 9}, {100, 11}};

}  // namespace

const Sensor& fullness_sensor() {
  // 10h: event logging disabled, where IPMI has the offsets "log full" and "log almost full".
  static const Sensor sensor{.key = {},
                             .name = "SEL_FULLNESS",
                             .entity_id = 7,
                             .entity_instance = 1,
                             .sensor_type = 0x10,
                             .reading_type = kThresholdReading,
                             .is_event_only = false};
  return sensor;
}

bool is_full(const LogInfo& info) { return info.free_bytes < kRecordSize; }

SensorState fullness(const LogInfo& info, bool is_ring) {
  const unsigned used = info.entries * kRecordSize;
  const unsigned all = used + info.free_bytes;
  SensorState state{.is_available = true, .asserted = 0};
  // So much is free, or more.
  constexpr unsigned kMostFree = 0xFFFF;
  if (is_ring || all == 0 || info.free_bytes == kMostFree) return state;
  for (const Threshold& threshold : kThresholds) {
    const bool is_over = threshold.percent == 100 ? is_full(info) : used * 100 >= all * threshold.percent;
    if (is_over) state.asserted = static_cast<std::uint16_t>(state.asserted | 1U << threshold.offset);
  }
  return state;
}

}  // namespace polaiga::ipmi
