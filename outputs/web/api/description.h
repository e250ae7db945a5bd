// What the API takes and answers, for programs: OpenAPI 3.1.
#pragma once

#include <span>

#include "app/embedded_file.h"
#include "http/message.h"

namespace polaiga::web {

// openapi.json, which has the addresses, and the schemas of docs/schemas that its answers are made of.
std::span<const EmbeddedFile> description_files();

// Both in one document that refers to nothing outside of it: what the commands' --json and the API share is described
// once. Each schema is there under the name of its file, and each definition under its own.
Body api_description();

}  // namespace polaiga::web
