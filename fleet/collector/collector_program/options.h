// What the command line says.
#pragma once

#include <string>

#include "collecting/collector.h"

namespace polaiga::fleet {

struct CollectorOptions {
  std::string database;
  bool is_migration = false;  // the schema is to be brought up to date, and nothing else
  Collector::Options collector;
};

}  // namespace polaiga::fleet
