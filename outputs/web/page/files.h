// The files of the page, as they were when the program was built.
#pragma once

#include <span>

#include "app/embedded_file.h"

namespace polaiga::web {

// All of files/, in the order of their names.
std::span<const EmbeddedFile> page_files();

}  // namespace polaiga::web
