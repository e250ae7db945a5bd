// Descriptions of APIs for programs: OpenAPI 3.1.
#pragma once

#include <span>
#include <string_view>

#include "app/embedded_file.h"
#include "http/message.h"

namespace polaiga::web {

// The description that is the file `frame`, with all that it refers to, so that it refers to nothing outside of itself.
// What it does not have among its components is taken from openapi.json, from definitions.schema.json or, under the
// name of its file, from another schema: so what the commands' --json and the APIs share is described once. The version
// is that of the program.
Body whole_description(std::string_view frame, std::span<const EmbeddedFile> files);

}  // namespace polaiga::web
