// Which build of the library makes the records.
#pragma once

#include <string>

namespace polaiga::engine {

struct LibraryBuild {
  std::string build_id;  // of its ELF note NT_GNU_BUILD_ID, in hexadecimal digits; empty: it has none
  std::string version;   // of its file's name, such as 1.0.0; empty: the name has none
  bool operator==(const LibraryBuild&) const = default;
};

// The build that this process has loaded.
LibraryBuild library_build();

}  // namespace polaiga::engine
