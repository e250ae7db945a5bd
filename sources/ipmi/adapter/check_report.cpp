#include "adapter/check_report.h"

#include "base/printable.h"
#include "follow/known_bits.h"
#include "standard/hexadecimal.h"

namespace polaiga::ipmi {
namespace {

std::string shown(const Sensor& sensor) {
  return (sensor.name.empty() ? "(no name)" : engine::printable(sensor.name)) + "\tnumber " + hex(sensor.key.number) +
         ", sensor type " + hex(sensor.sensor_type) + ", event/reading type " + hex(sensor.reading_type);
}

std::string shown(const Target& target) {
  std::string text =
      std::string(target.entity->name) + " " + engine::printable(target.sensor) + " " + std::to_string(target.instance);
  if (target.group != 0) text += " of group " + std::to_string(target.group);
  return text;
}

std::string present(const Ladder& ladder, const std::optional<SensorState>& state) {
  if (ladder.held == Held::kLog) return "told by log records alone";
  if (!state || !state->is_available) return "its state cannot be read now";
  KnownBits bits;
  bits.read(state->asserted);
  const int level = bits.level(ladder);
  std::string text = "level " + std::to_string(level) + " of " + std::to_string(ladder.rungs.size());
  std::string separator = ", would send offset/state ";
  for (const Step& step : ladder.steps(0, level)) {
    text += separator + std::to_string(step.offset) + "/" + std::to_string(step.state);
    separator = ", ";
  }
  return text;
}

}  // namespace

std::vector<std::string> check_report(const std::vector<Sensor>& sensors, const SensorLevels::Rows& rows,
                                      const std::function<std::optional<SensorState>(const Sensor&)>& state) {
  std::vector<std::string> lines;
  std::size_t without = 0;
  for (const Sensor& sensor : sensors) {
    const std::vector<Mapped> ladders = rows.of(sensor);
    if (ladders.empty()) {
      const std::size_t line = rows.line_of ? rows.line_of(sensor) : 0;
      if (line == 0) ++without;
      lines.push_back(shown(sensor) + (line == 0 ? "\tno row" : "\tleft out by line " + std::to_string(line)));
      continue;
    }
    const auto now = state(sensor);
    for (const Mapped& mapped : ladders) {
      lines.push_back(shown(sensor) + "\tline " + std::to_string(mapped.line) + ", " +
                      engine::printable(mapped.ladder->name) + "\t" + shown(mapped.target) + "\t" +
                      present(*mapped.ladder, now));
    }
  }
  lines.push_back(std::to_string(sensors.size()) + " sensors, " + std::to_string(without) + " without a row");
  return lines;
}

}  // namespace polaiga::ipmi
