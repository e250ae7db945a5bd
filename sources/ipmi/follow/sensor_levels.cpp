#include "follow/sensor_levels.h"

#include <algorithm>
#include <utility>

#include "base/printable.h"
#include "standard/hexadecimal.h"

namespace polaiga::ipmi {
namespace {

SensorId id_of(const Sensor& sensor) { return {sensor.key, sensor.reading_type}; }

std::string shown(const Sensor& sensor) {
  std::string text = sensor.name.empty() ? "without a name" : engine::in_quotes(sensor.name);
  return text + " (number " + hex(sensor.key.number) + " of " + hex(sensor.key.owner) + ", sensor type " +
         hex(sensor.sensor_type) + ", event/reading type " + hex(sensor.reading_type) + ")";
}

bool reads(const std::vector<Mapped>& ladders) {
  return std::ranges::any_of(ladders, [](const Mapped& mapped) {
    return mapped.ladder->held == Held::kState || mapped.ladder->is_ended_by_state;
  });
}

}  // namespace

void SensorLevels::use_rows(Rows rows, const Send& send) {
  rows_ = std::move(rows);
  unmapped_.clear();
  place_all();
  // Before the SDR was read, nothing is known of the sensors.
  if (described_.empty()) return;
  take_back(true, send);
  settle_all(send);
}

void SensorLevels::use_sensors(std::vector<Sensor> sensors, bool are_all, const Send& send) {
  // What was known of a sensor is not known of another one that has its number now.
  for (const Sensor& before : described_) {
    const auto now =
        std::ranges::find_if(sensors, [&](const Sensor& some) { return ipmi::id_of(some) == ipmi::id_of(before); });
    if (now != sensors.end() && now->name != before.name) state_.memory.erase(ipmi::id_of(before));
  }
  described_ = std::move(sensors);
  place_all();
  take_back(are_all && !described_.empty(), send);
  settle_all(send);
}

std::size_t SensorLevels::without_row() const {
  return static_cast<std::size_t>(std::ranges::count_if(described_, [this](const Sensor& sensor) {
    const auto found = ladders_.find(ipmi::id_of(sensor));
    const bool has_ladders = found != ladders_.end() && !found->second.empty();
    return !has_ladders && (!rows_.line_of || rows_.line_of(sensor) == 0);
  }));
}

LadderId SensorLevels::id_of(const SensorId& sensor, const Mapped& mapped) {
  const Target& target = mapped.target;
  return {sensor, mapped.ladder->name + " " + std::string(target.entity->name) + " " + std::to_string(target.instance) +
                      " " + std::to_string(target.group) + " " + target.sensor};
}

Sensor SensorLevels::undescribed(const SensorId& id, std::uint8_t sensor_type) const {
  Sensor sensor{.key = id.key,
                .name = "",
                .entity_id = 0,
                .entity_instance = 0,
                .sensor_type = sensor_type,
                .reading_type = id.reading_type,
                .is_event_only = true};
  const auto same = std::ranges::find(described_, id.key, &Sensor::key);
  if (same == described_.end()) return sensor;
  sensor.name = same->name;
  sensor.entity_id = same->entity_id;
  sensor.entity_instance = same->entity_instance;
  return sensor;
}

void SensorLevels::place(const Sensor& sensor) {
  const SensorId id = ipmi::id_of(sensor);
  if (!rows_.of || ladders_.contains(id)) return;
  auto& ladders = ladders_[id] = rows_.of(sensor);
  for (const Mapped& mapped : ladders) {
    auto& places = units_[unit_of(mapped.target)];
    places.push_back({id, mapped});
  }
}

void SensorLevels::place_all() {
  ladders_.clear();
  units_.clear();
  readable_.clear();
  for (const Sensor& sensor : described_) {
    const bool is_new = !ladders_.contains(ipmi::id_of(sensor));
    place(sensor);
    if (is_new && !sensor.is_event_only && reads(ladders_[ipmi::id_of(sensor)])) readable_.push_back(sensor);
    if (const auto known = state_.memory.find(ipmi::id_of(sensor)); known != state_.memory.end()) {
      known->second.undescribed_type.reset();
    }
  }
  for (const Sensor& sensor : own_) {
    const bool is_described = std::ranges::find(described_, sensor.name, &Sensor::name) != described_.end();
    if (!is_described) place(sensor);
  }
  for (const auto& [id, memory] : state_.memory) {
    if (memory.undescribed_type) place(undescribed(id, *memory.undescribed_type));
  }
}

const Mapped* SensorLevels::find(const LadderId& id) const {
  const auto sensor = ladders_.find(id.sensor);
  if (sensor == ladders_.end()) return nullptr;
  const auto found =
      std::ranges::find_if(sensor->second, [&](const Mapped& mapped) { return id_of(id.sensor, mapped) == id; });
  return found != sensor->second.end() ? &*found : nullptr;
}

void SensorLevels::take_back(std::map<LadderId, Delivered>::iterator which, const Send& send) {
  for (const Step& step : which->second.down) send(which->second.target, step);
  state_.delivered.erase(which);
}

// Takes back what was told by ladders that are gone or have changed. This comes before new ladders are gone up. What
// says that a unit is missing goes first, since filters drop other events of a missing unit.
void SensorLevels::take_back(bool are_all, const Send& send) {
  for (const bool tells_presence : {true, false}) take_back(are_all, tells_presence, send);
  if (!are_all) return;
  std::erase_if(state_.memory, [this](const auto& entry) { return !ladders_.contains(entry.first); });
}

void SensorLevels::take_back(bool are_all, bool tells_presence, const Send& send) {
  for (auto next = state_.delivered.begin(); next != state_.delivered.end();) {
    const auto which = next++;
    const auto& [id, delivered] = *which;
    if (delivered.tells_presence != tells_presence) continue;
    const Mapped* const mapped = find(id);
    if (mapped == nullptr && !are_all) continue;
    const bool is_same = mapped != nullptr && mapped->target == delivered.target &&
                         std::cmp_less_equal(delivered.level, mapped->ladder->rungs.size()) &&
                         mapped->ladder->steps(delivered.level, 0) == delivered.down;
    if (is_same) continue;
    if (mapped == nullptr) {
      tell_("the sensor " + engine::in_quotes(delivered.target.sensor) +
            " is gone from the controller or from the mapping, so what was told of it is taken back");
    }
    take_back(which, send);
  }
}

int SensorLevels::level(const Place& place) const {
  const auto told = state_.delivered.find(id_of(place.sensor, place.mapped));
  const int delivered = told != state_.delivered.end() ? told->second.level : 0;
  const auto memory = state_.memory.find(place.sensor);
  if (memory == state_.memory.end()) return delivered;
  const KnownBits& bits = place.mapped.ladder->held == Held::kState ? memory->second.state : memory->second.records;
  return bits.known != 0 ? bits.level(*place.mapped.ladder) : delivered;
}

void SensorLevels::settle(const Place& place, Way way, const Send& send) {
  const Ladder& ladder = *place.mapped.ladder;
  const int to = level(place);
  const LadderId id = id_of(place.sensor, place.mapped);
  const auto told = state_.delivered.find(id);
  const int from = told != state_.delivered.end() ? told->second.level : 0;
  if (from == to || (to < from) != (way == Way::kDown)) return;
  for (const Step& step : ladder.steps(from, to)) send(place.mapped.target, step);
  if (to == 0) {
    state_.delivered.erase(id);
  } else {
    state_.delivered[id] = {place.mapped.target, to, ladder.steps(to, 0), ladder.tells_presence};
  }
}

// The filters drop the events of a unit that is missing. So they wait until it is back, and then the difference is
// sent.
void SensorLevels::settle(const Unit& unit, const Send& send) {
  const auto found = units_.find(unit);
  if (found == units_.end()) return;
  bool is_missing = false;
  for (const bool tells_presence : {true, false}) {
    if (is_missing) return;
    // What goes down goes first: two ladders may be about one fault.
    for (const Way way : {Way::kDown, Way::kUp}) {
      for (const Place& place : found->second) {
        if (place.mapped.ladder->tells_presence != tells_presence) continue;
        settle(place, way, send);
        is_missing = is_missing || (tells_presence && level(place) > 0);
      }
    }
  }
}

void SensorLevels::settle(const SensorId& sensor, const Send& send) {
  const auto found = ladders_.find(sensor);
  if (found == ladders_.end()) return;
  std::set<Unit> units;
  for (const Mapped& mapped : found->second) units.insert(unit_of(mapped.target));
  for (const Unit& unit : units) settle(unit, send);
}

void SensorLevels::settle_all(const Send& send) {
  for (const auto& [unit, places] : units_) settle(unit, send);
}

void SensorLevels::tell_unmapped(const Sensor& sensor) {
  if (rows_.line_of && rows_.line_of(sensor) != 0) return;
  if (unmapped_.size() >= kMostUndescribed || !unmapped_.insert(ipmi::id_of(sensor)).second) return;
  tell_("no row of the mapping takes the records of the sensor " + shown(sensor) + ", so they are left out");
}

void SensorLevels::record(const SelEvent& event, const Send& send) {
  const SensorId id{event.key, event.reading_type};
  const bool is_described =
      std::ranges::any_of(described_, [&](const Sensor& some) { return ipmi::id_of(some) == id; });
  auto memory = state_.memory.find(id);
  if (!is_described && memory == state_.memory.end()) {
    const Sensor sensor = undescribed(id, event.sensor_type);
    if (!rows_.of || rows_.of(sensor).empty()) {
      tell_unmapped(sensor);
      return;
    }
    // A controller that makes up sensors must not fill the memory.
    const auto count = std::ranges::count_if(
        state_.memory, [](const auto& entry) { return entry.second.undescribed_type.has_value(); });
    if (std::cmp_greater_equal(count, kMostUndescribed)) {
      if (!std::exchange(is_full_, true)) {
        tell_("the log names more than " + std::to_string(kMostUndescribed) +
              " sensors that no SDR describes; the others are left out");
      }
      return;
    }
    place(sensor);
    memory = state_.memory.try_emplace(id).first;
    memory->second.undescribed_type = event.sensor_type;
  }
  if (is_described && ladders_[id].empty()) {
    tell_unmapped(*std::ranges::find_if(described_, [&](const Sensor& some) { return ipmi::id_of(some) == id; }));
    return;
  }
  if (memory == state_.memory.end()) memory = state_.memory.try_emplace(id).first;
  memory->second.state.apply(event);
  memory->second.records.apply(event);
  settle(id, send);
}

void SensorLevels::reading(const Sensor& sensor, const SensorState& reading, const Send& send) {
  if (!reading.is_available || !ladders_.contains(ipmi::id_of(sensor))) return;
  auto& memory = state_.memory[ipmi::id_of(sensor)];
  memory.state.read(reading.asserted);
  // Here a reading puts no sensor on a rung, but it ends what a record that was missed would have ended.
  for (const Mapped& mapped : ladders_[ipmi::id_of(sensor)]) {
    const Ladder& ladder = *mapped.ladder;
    if (!ladder.is_ended_by_state || memory.state.level(ladder) >= memory.records.level(ladder)) continue;
    for (const Rung& rung : ladder.rungs) {
      for (const Condition& condition : rung.when) memory.records.copy(memory.state, condition.offset);
    }
  }
  settle(ipmi::id_of(sensor), send);
}

}  // namespace polaiga::ipmi
