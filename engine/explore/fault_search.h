// Finds every fault that the filters can raise, by giving them every event and
// reading the records.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "model/dictionary.h"
#include "model/entities.h"

namespace polaiga::engine {

// What is tried. Offsets between and beyond do as the outermost ones.
struct OffsetRange {
  std::int32_t first;
  std::int32_t last;
};
inline constexpr std::array<OffsetRange, 2> kTriedOffsets{{{-1, 255}, {880, 1024}}};
inline constexpr std::int32_t kStates = 8;  // 0 to 7; any higher one does as 7

// Stands in events for the sensors of a filter that knows none by name.
inline constexpr std::string_view kAnySensor = "SENSOR";

// What a filter may remember when it decides, as a bit of a set. Only the system
// board tells the last three from the first.
using Memories = std::uint8_t;
inline constexpr std::array<std::string_view, 4> kMemoryNames{"", "log low", "log very low", "log full"};

// Events that come to the same: by reading type, offset and state, with what the
// filter may remember at the time.
struct EventKey {
  bool threshold;
  std::int32_t offset;
  std::int32_t state;
  bool operator==(const EventKey&) const = default;
  bool operator<(const EventKey& other) const {
    return std::tie(threshold, offset, state) < std::tie(other.threshold, other.offset, other.state);
  }
};
using Events = std::map<EventKey, Memories>;

// Whether an event was tried with everything that its filter may remember.
bool is_remembered(const EventKey& key);

// What the events of one sensor, or of several alike, do to a fault.
struct Behaviour {
  std::vector<std::string> sensors;
  std::vector<std::pair<std::string, std::string>> objects;  // DN, and OID of the class
  Events raises;
  Events clears;
  std::map<std::uint32_t, Events> supersedes;     // those of `raises` that end another fault, by its code
  std::map<std::uint32_t, Events> superseded_by;  // those that raise another in its place, by that one's code
  std::map<std::string, Events> raise_texts;
  std::map<std::string, Events> clear_texts;
};

struct FoundFault {
  std::uint32_t code;
  std::string name;
  std::string cause;
  std::uint32_t cause_id;
  Severity severity;
  bool reported;  // false: the filter fills the record, and rejects the event all the same
  std::vector<Behaviour> behaviours;
};

struct FoundFilter {
  std::string_view entity;
  std::size_t memories;  // that were tried of it
  std::vector<FoundFault> faults;
};

// Of every filter, in the order of polaiga/filters.h, with its faults by code.
// The host tables must be loaded; the services are bound anew.
std::vector<FoundFilter> find_faults();

// Of one filter, with the sensor and the unit of this event alone.
FoundFilter find_faults(const Entity& entity, const fe_sensor_event& like);

// What an event was tried as.
EventKey tried_as(const Entity& entity, const fe_sensor_event& event);

}  // namespace polaiga::engine
