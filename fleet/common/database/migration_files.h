// The files of migrations/, as they were when the program was built.
#pragma once

#include <span>
#include <string_view>

namespace polaiga::fleet {

struct EmbeddedFile {
  std::string_view name;
  std::string_view content;
};

// In the order of their names.
std::span<const EmbeddedFile> migration_files();

}  // namespace polaiga::fleet
