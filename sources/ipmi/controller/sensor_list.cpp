#include "controller/sensor_list.h"

#include <utility>

namespace polaiga::ipmi {

void SensorList::add(std::span<const std::uint8_t> record, const std::string& name) {
  try {
    for (auto& sensor : parse_sdr(record)) {
      if (sensors_.size() == kMostSensors) {
        if (!std::exchange(is_full_, true)) {
          complain_("the controller has more than " + std::to_string(kMostSensors) +
                    " sensors; the others are left out");
        }
        return;
      }
      if (keys_.insert(sensor.key).second) {
        sensors_.push_back(std::move(sensor));
      } else {
        complain_(name + " is left out: sensor number " + std::to_string(sensor.key.number) + " has a record already");
      }
    }
  } catch (const BadRecord& error) {
    complain_(name + " is left out: " + error.what());
  }
}

}  // namespace polaiga::ipmi
