// `polaiga diff` gives the same events to two builds of the library and compares the
// records.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/standard_output.h"
#include "base/status.h"

namespace polaiga::engine {

struct DiffOptions {
  std::string a;  // the files of the two builds
  std::string b;
  std::vector<std::string> files;  // "-" is standard input
  bool json = false;
  std::int32_t platform = 0;
  std::string tables;  // directory; empty: the program's own
};

// Throws std::runtime_error, and WriteError if the output cannot be written.
Status diff(const DiffOptions& options, StandardOutput& output);

}  // namespace polaiga::engine
