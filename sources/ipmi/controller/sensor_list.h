// Gathers the sensors of SDRs, one record after the other.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "standard/sensor.h"

namespace polaiga::ipmi {

class SensorList {
 public:
  // What is remembered of so many fits into a state file.
  static constexpr std::size_t kMostSensors = 2000;

  // `complain` is told of each record that cannot be understood, and of a sensor that has a record already. Both are
  // left out.
  explicit SensorList(const std::function<void(const std::string&)>& complain) : complain_(complain) {}

  // `name` is what messages call the record.
  void add(std::span<const std::uint8_t> record, const std::string& name);
  std::vector<Sensor> take() { return std::move(sensors_); }

 private:
  const std::function<void(const std::string&)>& complain_;
  std::vector<Sensor> sensors_;
  std::set<SensorKey> keys_;
  bool is_full_ = false;  // which was told
};

}  // namespace polaiga::ipmi
