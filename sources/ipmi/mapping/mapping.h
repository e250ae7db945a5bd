// Which events a controller's sensors become. docs/ipmi.md describes the file.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/tab_separated.h"
#include "mapping/ladder.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {

struct MappingRow;

// A ladder that a sensor stands on, and what it tells of.
struct Mapped {
  Target target;
  std::shared_ptr<const Ladder> ladder;
  std::size_t line = 0;  // of the mapping file: the row that takes the sensor
};

class Mapping {
 public:
  // `text` is the contents of a mapping file. `name` is that of the file, for errors. Throws engine::TableError, which
  // names file, line, character and column.
  static Mapping parse(std::string_view text, const std::string& name);

  // The ladders of a sensor, in the order of the file. None: no row takes it, or it is to be left out.
  // Where the events of one sensor go down on a ladder and up on another, those that go down must be sent first: they
  // may be about one fault.
  std::vector<Mapped> of(const Sensor& sensor) const;

  // The line of the row that takes a sensor, which may say that it is to be left out; 0: no row does.
  std::size_t line_of(const Sensor& sensor) const;

 private:
  std::vector<std::shared_ptr<const MappingRow>> rows_;
};

}  // namespace polaiga::ipmi
