// A file that is a part of the program (cmake/embed.cmake).
#pragma once

#include <string_view>

namespace polaiga::web {

struct EmbeddedFile {
  std::string_view name;
  std::string_view content;
};

}  // namespace polaiga::web
