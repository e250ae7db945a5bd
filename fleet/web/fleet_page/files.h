// The files of the page, as they were when the program was built.
#pragma once

#include <span>

#include "app/embedded_file.h"

namespace polaiga::web {

// The page's own, and those of polaiga-web's page that it shares.
std::span<const EmbeddedFile> fleet_page_files();

}  // namespace polaiga::web
