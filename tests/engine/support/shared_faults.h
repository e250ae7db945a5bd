// Every fault that the real filters raise, with its reporters and the events by
// which each of them raises and ends it: found by giving the filters every event
// of the sensors that a server has.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "model/fault.h"
#include "model/reporter.h"
#include "support/filtered.h"

namespace polaiga::engine::test {

// How full the event log is said to be; it decides about some of the board's events.
inline constexpr int kLogFills = 4;

// An event that does the same whatever came before it, since what the filter
// remembers is brought about first.
struct Tried {
  SensorEvent event;
  int log_fill = 0;
};

// By the events of one reporter; empty where it has none of this kind.
struct Ways {
  std::vector<Tried> raises;      // and supersede nothing
  std::vector<Tried> escalates;   // raise, and supersede another fault
  std::vector<Tried> clears;      // and raise nothing
  std::vector<Tried> supersedes;  // raise another fault in its place
  bool can_raise() const { return !raises.empty() || !escalates.empty(); }
  bool can_end() const { return !clears.empty() || !supersedes.empty(); }
};

using FaultWays = std::map<std::string, std::map<Reporter, Ways>>;  // by fault DN

// The sensors of a server. Filters that know no sensor by name are given two, and
// those that tell units apart two of them.
inline std::vector<EventOf> sensors_of_a_server() {
  std::vector<EventOf> all;
  const auto add_rows = [&all](const char* entity, const fe_sensor_map_row* rows, std::int32_t count) {
    for (std::int32_t row = 0; row < count; ++row) all.push_back({.entity = entity, .sensor = rows[row].sensor_name});
  };
  add_rows("sys_board", ent_map, ent_map_sz);
  add_rows("cpu", ent_cpu_map, ent_cpu_map_sz);
  add_rows("drive_bp", ent_drive_bp_map, ent_drive_bp_map_sz);
  add_rows("cmc", ent_cmc_map, ent_cmc_map_sz);
  for (const char* sensor : {"SENSOR_A", "SENSOR_B"}) {
    for (const char* entity : {"cmc", "chassis", "front_panel", "nm", "ne", "fw_bios_post"}) {
      all.push_back({.entity = entity, .sensor = sensor});
    }
    for (const std::int32_t unit : {1, 2}) {
      for (const char* entity : {"mem", "add_in", "pci"}) {
        all.push_back({.entity = entity, .sensor = sensor, .instance = unit});
      }
      all.push_back({.entity = "pci", .sensor = sensor, .instance = unit, .subtype = 1});
      for (int part = 0; part < 4; ++part) {
        all.push_back({.entity = "caddora",
                       .sensor = sensor,
                       .instance = unit,
                       .entity_id = static_cast<std::uint8_t>(212 + part)});
        for (const std::int32_t controller : {1, 2}) {
          all.push_back({.entity = "storage",
                         .sensor = sensor,
                         .instance = unit,
                         .group = controller,
                         .entity_id = static_cast<std::uint8_t>(208 + part)});
        }
      }
    }
  }
  for (const std::int32_t unit : {1, 2}) {
    const std::string number = std::to_string(unit);
    for (const char* what : {"_TACH1", "_TACH2", "_SPEED", "_PRESENT"}) {
      std::string sensor = "FAN";
      all.push_back({.entity = "fan", .sensor = sensor.append(number).append(what), .instance = unit});
    }
    for (const char* what : {"_PIN", "_POUT", "_TEMP", "_STATUS"}) {
      std::string sensor = "PSU";
      all.push_back({.entity = "ps", .sensor = sensor.append(number).append(what), .instance = unit});
    }
  }
  return all;
}

// Whether the offset is one of this part: a storage controller's, a disk's, a
// virtual drive's or a battery's. Other filters have no parts.
inline bool concerns(const EventOf& sensor, std::int32_t offset) {
  if (sensor.entity_id == 0) return true;
  const int part = sensor.entity_id - find_entity(sensor.entity)->entity_id;
  constexpr std::int32_t kFirst[] = {11, 14, 22, 26, 30};
  return kFirst[part] <= offset && offset < kFirst[part + 1];
}

inline std::vector<std::int32_t> tried_offsets(const std::string& entity) {
  if (entity == "sys_board" || entity == "cpu" || entity == "cmc" || entity == "drive_bp") {
    return {3, 113, 114, 115, 116, 117, 118, 119, 120};  // all but the thresholds are alike
  }
  std::vector<std::int32_t> offsets;
  for (std::int32_t offset = 0; offset <= 255; ++offset) offsets.push_back(offset);
  offsets.push_back(883);
  return offsets;
}

class EveryFault {
 public:
  // As if the library had seen nothing yet, but for the fill of its event log.
  Filtered filter(const Tried& tried) {
    if (tried.event.entity->name == "sys_board") {
      fill_log(tried.log_fill);
    } else {
      // What was missing is there.
      for (const std::int32_t offset : {1, 12, 18, 30, 63}) {
        SensorEvent present = tried.event;
        present.event.event_offset = offset;
        present.event.event_state = 0;
        filters_.filter(present);
      }
    }
    return filters_.filter(tried.event);
  }

  FaultWays find() {
    FaultWays found;
    for (const EventOf& sensor : sensors_of_a_server()) {
      const bool board = std::string_view(sensor.entity) == "sys_board";
      for (const std::int32_t offset : tried_offsets(sensor.entity)) {
        if (!concerns(sensor, offset)) continue;
        for (std::int32_t state = 0; state <= 7; ++state) {
          for (int fill = 0; fill < (board ? kLogFills : 1); ++fill) {
            EventOf event = sensor;
            event.offset = offset;
            event.state = state;
            note({make_event(event), fill}, found);
          }
        }
      }
    }
    return found;
  }

 private:
  // The first two events make the board forget what it remembered of the log.
  void fill_log(int fill) {
    constexpr std::pair<std::int32_t, std::int32_t> kWay[] = {
        {FE_OFFSET_UPPER_NON_CRITICAL, 1}, {FE_OFFSET_UPPER_NON_CRITICAL, 0},    {FE_OFFSET_UPPER_NON_CRITICAL, 1},
        {FE_OFFSET_UPPER_CRITICAL, 1},     {FE_OFFSET_UPPER_NON_RECOVERABLE, 1},
    };
    for (int step = 0; step < 2 + fill; ++step) {
      const auto& [offset, state] = kWay[step];
      filters_.filter(make_event({.sensor = "SEL_FULLNESS", .offset = offset, .state = state}));
    }
  }

  void note(const Tried& tried, FaultWays& found) {
    const Filtered filtered = filter(tried);
    if (!filtered.reported) return;
    const fe_fault_record& record = filtered.record;
    const Reporter reporter = reporter_of(tried.event);
    Ways& own = found[record.fault_dn][reporter];
    if (only_clears(record)) {
      own.clears.push_back(tried);
    } else if (record.clear_code == 0 || record.clear_code == record.code) {
      own.raises.push_back(tried);
    } else {
      own.escalates.push_back(tried);
      found[fault_dn(record.dn, record.clear_code)][reporter].supersedes.push_back(tried);
    }
  }

  Filters filters_;
};

}  // namespace polaiga::engine::test
