// All that the program must not forget, so that nothing is lost or told twice when it ends at any moment.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "controller/controller.h"
#include "follow/known_bits.h"
#include "mapping/ladder.h"
#include "standard/sel_record.h"

namespace polaiga::ipmi {

// The records of a sensor may be of another event/reading type than its SDR says. They are told apart.
struct SensorId {
  SensorKey key;
  std::uint8_t reading_type = 0;

  bool operator==(const SensorId&) const = default;
  bool operator<(const SensorId& other) const {
    return std::tie(key, reading_type) < std::tie(other.key, other.reading_type);
  }
};

struct SensorMemory {
  KnownBits state{};    // by readings and records, whichever came last
  KnownBits records{};  // by records alone
  // The sensor type by its records, of a sensor that the SDR repository does not describe.
  std::optional<std::uint8_t> undescribed_type{};

  bool operator==(const SensorMemory&) const = default;
};

// A ladder that a sensor stands on. One sensor may stand on the same ladder several times, for several targets.
struct LadderId {
  SensorId sensor;
  std::string place;  // the ladder's name, and what it tells of

  bool operator==(const LadderId&) const = default;
  bool operator<(const LadderId& other) const { return std::tie(sensor, place) < std::tie(other.sensor, other.place); }
};

// What the engine was told of a sensor that is on a rung.
struct Delivered {
  Target target{};
  int level = 0;
  std::vector<Step> down{};     // what to send to bring it down to 0, even when its SDR or its row is gone
  bool tells_presence = false;  // that the unit is missing

  bool operator==(const Delivered&) const = default;
};

// A record that was read, and the id by which the controller knows it.
struct ReadRecord {
  std::uint16_t id = 0;
  SelBytes bytes{};

  bool operator==(const ReadRecord&) const = default;
};

// How far the log was read.
struct Position {
  static constexpr std::size_t kTrail = 8;

  // Chosen at random. Within an epoch the ids of the records rise, so none comes twice. 0: nothing was read ever.
  std::uint64_t epoch = 0;
  bool wants_new_epoch = false;        // the ids of this one may have been used for what is not known any more
  std::deque<ReadRecord> trail{};      // the records that were read last; the last of them is the cursor
  std::uint32_t erased = 0;            // as the controller said
  std::optional<ReadRecord> cut_at{};  // the chain leads from the cursor back to this record, which was read before

  bool operator==(const Position&) const = default;
};

struct State {
  std::optional<Guid> guid{};
  Position position{};
  std::uint64_t readings = 0;  // how often readings were told of, in this epoch and those before
  bool log_wraps = false;      // records come although the log is full, so it is a ring
  std::map<SensorId, SensorMemory> memory{};
  std::map<LadderId, Delivered> delivered{};
  std::deque<std::string> pending{};  // events that the engine has not acknowledged, as lines of JSON

  bool operator==(const State&) const = default;
};

}  // namespace polaiga::ipmi
