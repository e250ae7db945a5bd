// The files of the page, as they were when the program was built.
#pragma once

#include <span>
#include <string_view>

namespace polaiga::web {

struct EmbeddedFile {
  std::string_view name;
  std::string_view content;
};

// All of files/, in the order of their names.
std::span<const EmbeddedFile> page_files();

}  // namespace polaiga::web
