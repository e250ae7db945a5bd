// `polaiga replay`: events from files through the filters, and what comes of them.
#pragma once

#include <string>
#include <vector>

#include "base/standard_output.h"
#include "base/status.h"
#include "filter/services.h"
#include "report/colour.h"

namespace polaiga::engine {

struct ReplayOptions {
  std::vector<std::string> files;  // "-" is standard input
  bool json = false;
  bool strict = false;
  Colour colour = Colour::kAuto;
  Log log = Log::kOff;
  std::int32_t platform = 0;
  std::string tables;  // directory; empty: the program's own
};

// Throws WriteError when the output cannot be written, TableError for a table
// that is not right.
Status replay(const ReplayOptions& options, StandardOutput& output);

}  // namespace polaiga::engine
