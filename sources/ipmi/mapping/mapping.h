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

// A ladder that a sensor stands on, and what it tells of.
struct Mapped {
  Target target;
  std::shared_ptr<const Ladder> ladder;
  std::size_t line = 0;  // of the mapping file, where the ladder begins
};

class Mapping {
 public:
  // `text` is the contents of a mapping file. `name` is that of the file, for errors. Throws engine::TableError, which
  // names file, line and column.
  static Mapping parse(std::string_view text, const std::string& name);

  // The ladders of a sensor, in the order of the file; none: no row takes it.
  std::vector<Mapped> of(const Sensor& sensor) const;

 private:
  struct Row;
  std::vector<std::shared_ptr<const Row>> rows_;
};

}  // namespace polaiga::ipmi
