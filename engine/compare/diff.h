// `polaiga diff`: the same events through two builds of the library.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/standard_output.h"
#include "base/status.h"

namespace polaiga::engine {

struct DiffOptions {
  std::string a;  // files of the two builds
  std::string b;
  std::vector<std::string> files;  // "-" is standard input
  bool json = false;
  std::int32_t platform = 0;
  std::string tables;  // directory; empty: the program's own
};

// Throws as a command does, and std::runtime_error when a build cannot be used.
Status diff(const DiffOptions& options, StandardOutput& output);

}  // namespace polaiga::engine
