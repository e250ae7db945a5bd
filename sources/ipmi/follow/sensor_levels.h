// How far each sensor is on its ladders, how far the engine was told, and what to send for the difference.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "follow/state.h"
#include "mapping/mapping.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {

class SensorLevels {
 public:
  // What a mapping says of a sensor.
  struct Rows {
    std::function<std::vector<Mapped>(const Sensor&)> of;
    // The line of the row that takes it, which may leave it out on purpose; 0: no row does. May be empty.
    std::function<std::size_t(const Sensor&)> line_of{};
  };
  using Send = std::function<void(const Target&, const Step&)>;
  using Tell = std::function<void(const std::string&)>;  // a complaint for people

  static constexpr std::size_t kMostUndescribed = 500;

  // The state must outlive this. `tell` is told once of each sensor without a row whose records come.
  SensorLevels(State& state, Tell tell) : state_(state), tell_(std::move(tell)) {}

  // Which rows take a sensor, from now on. What was told by other rows is taken back.
  void use_rows(Rows rows, const Send& send);

  // The sensors that the SDR repository describes. What was told of a sensor that is gone is taken back, unless
  // `are_all` is false: then some could not be read.
  void use_sensors(std::vector<Sensor> sensors, bool are_all, const Send& send);

  void record(const SelEvent& event, const Send& send);
  void reading(const Sensor& sensor, const SensorState& reading, const Send& send);

  // The sensors whose readings matter.
  const std::vector<Sensor>& readable() const { return readable_; }
  const std::vector<Sensor>& described() const { return described_; }
  std::size_t without_row() const;  // how many of those described

  // Adds a sensor that the program itself makes, and that no SDR describes.
  void add_own(const Sensor& sensor) { own_.push_back(sensor); }

 private:
  // The library's filters remember what is missing by these.
  using Unit = std::tuple<const engine::Entity*, std::int32_t, std::int32_t>;
  struct Place {
    SensorId sensor;
    Mapped mapped;
  };

  static LadderId id_of(const SensorId& sensor, const Mapped& mapped);
  static Unit unit_of(const Target& target) { return {target.entity, target.instance, target.group}; }
  Sensor undescribed(const SensorId& id, std::uint8_t sensor_type) const;
  void place(const Sensor& sensor);
  void place_all();
  void take_back(bool are_all, const Send& send);
  void take_back(bool are_all, bool tells_presence, const Send& send);
  void take_back(std::map<LadderId, Delivered>::iterator which, const Send& send);
  const Mapped* find(const LadderId& id) const;
  void tell_unmapped(const Sensor& sensor);
  int level(const Place& place) const;
  void settle(const Unit& unit, const Send& send);
  enum class Way : std::uint8_t { kDown, kUp };
  void settle(const Place& place, Way way, const Send& send);
  void settle(const SensorId& sensor, const Send& send);
  void settle_all(const Send& send);

  State& state_;
  Tell tell_;
  Rows rows_;
  std::vector<Sensor> own_;
  std::vector<Sensor> described_;
  std::vector<Sensor> readable_;
  std::map<SensorId, std::vector<Mapped>> ladders_;
  std::map<Unit, std::vector<Place>> units_;
  std::set<SensorId> unmapped_;  // which were told of
  bool is_full_ = false;         // no more sensors without SDR are remembered, which was told
};

}  // namespace polaiga::ipmi
