#include "adapter/saved_events.h"

#include "follow/outgoing_event.h"
#include "follow/state.h"

namespace polaiga::ipmi {

std::vector<std::string> saved_events(const std::vector<SelRecord>& records, const std::vector<Sensor>& sensors,
                                      const SensorLevels::Rows& rows, const SensorLevels::Tell& tell) {
  State state;
  SensorLevels levels(state, tell);
  // Nothing was told before, so nothing is sent by these two.
  levels.use_rows(rows, {});
  levels.use_sensors(sensors, true, {});
  std::vector<std::string> lines;
  std::uint64_t epoch = 1;
  std::uint16_t last = 0;
  for (const SelRecord& record : records) {
    if (record.id <= last) ++epoch;
    last = record.id;
    if (!record.event) continue;
    int number = 0;
    levels.record(*record.event, [&](const Target& target, const Step& step) {
      lines.push_back(event_line(record_event_id(epoch, record.bytes, ++number), target, step, record.time));
    });
  }
  return lines;
}

}  // namespace polaiga::ipmi
