// What the description of the API is made of.
#pragma once

#include <span>

#include "app/embedded_file.h"

namespace polaiga::web {

// openapi.json, which has the addresses, and the schemas of docs/schemas that its answers are made of.
std::span<const EmbeddedFile> description_files();

}  // namespace polaiga::web
