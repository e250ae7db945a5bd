// All controllers in few bytes, for the page's own scripts, which ask for them every two seconds. Whoever writes a
// program asks /api/v1/controllers, which has all of them.
#pragma once

#include <string>

#include "questions/overview.h"

namespace polaiga::web {

// {"sites":[...],"columns":[...],"rows":[[...],...]}: a row has a value for each column, and its site is an index of
// `sites`. It has nothing that changes as long as nothing happens, such as when a controller was heard.
std::string grid_text(const fleet::Overview& overview);

}  // namespace polaiga::web
