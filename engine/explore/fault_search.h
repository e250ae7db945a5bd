// Finds every fault that the filters can raise. It gives them every kind of event and
// reads the records.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "model/dictionary.h"
#include "model/entities.h"

namespace polaiga::engine {

// The offsets that are tried. The filters treat an offset between or beyond these
// ranges like the nearest end of a range.
struct OffsetRange {
  std::int32_t first;
  std::int32_t last;
};
inline constexpr std::array<OffsetRange, 2> kTriedOffsets{{{-1, 255}, {880, 1024}}};
inline constexpr std::int32_t kStates = 8;  // states 0 to 7; a filter treats a higher one like 7

// The sensor name in the events for a filter that knows no sensor by name.
inline constexpr std::string_view kAnySensor = "SENSOR";

// What a filter remembers can change its answer. These are the memories that events
// are tried with, as bits of a set. Only the system board's filter has the last three.
using Memories = std::uint8_t;
inline constexpr std::array<std::string_view, 4> kMemoryNames{"", "log low", "log very low", "log full"};

// An event by what decides the answer of a filter: reading type, offset and state.
// `Events` are events with the same effect. Each has the memories with which it has it.
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

// Whether an event was tried with each memory, and not only with the first.
bool is_remembered(const EventKey& key);

// What the events of a sensor do to a fault. Sensors whose events do the same share one.
struct Behaviour {
  std::vector<std::string> sensors;
  std::vector<std::pair<std::string, std::string>> objects;  // DN and OID of each
  Events raises;
  Events clears;
  std::map<std::uint32_t, Events> supersedes;  // those of `raises` that end another fault, by the code of that fault
  std::map<std::uint32_t, Events>
      superseded_by;  // events that raise another fault in its place, by the code of that fault
  std::map<std::string, Events> raise_texts;
  std::map<std::string, Events> clear_texts;
};

struct FoundFault {
  std::uint32_t code;
  std::string name;
  std::string cause;
  std::uint32_t cause_id;
  Severity severity;
  bool reported;  // false: the filter fills the record but rejects the event
  std::vector<Behaviour> behaviours;
};

struct FoundFilter {
  std::string_view entity;
  std::size_t memories;  // how many of the memories it was tried with
  std::vector<FoundFault> faults;
};

// How much is tried.
enum class Thoroughness : std::uint8_t {
  kWhole,       // every event of the ranges above
  kOnlyFaults,  // events enough to find every fault, what it clears and supersedes, and what its records say; it takes
                // a tenth of the time
};

// Tries every filter, in the order of entities(). The faults of each ascend by code.
// The host tables must be loaded. This calls provide_services().
std::vector<FoundFilter> find_faults(Thoroughness thoroughness = Thoroughness::kWhole);

// Tries one filter, only with the sensor and the unit of this event.
FoundFilter find_faults(const Entity& entity, const fe_sensor_event& like);

// The event that was tried and that the filter treats like this one.
EventKey tried_as(const Entity& entity, const fe_sensor_event& event);

// What X.733 and IANA call the fault's cause; nothing for a cause that is not in the dictionary.
std::optional<CauseStandard> standard_of(const FoundFault& fault);

}  // namespace polaiga::engine
