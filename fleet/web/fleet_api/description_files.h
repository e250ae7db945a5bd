// What the description of the API of a fleet is made of.
#pragma once

#include <span>

#include "app/embedded_file.h"

namespace polaiga::web {

// fleet_openapi.json, which has the addresses, openapi.json of polaiga-web, and the schemas of docs/schemas that
// answers are made of.
std::span<const EmbeddedFile> fleet_description_files();

}  // namespace polaiga::web
