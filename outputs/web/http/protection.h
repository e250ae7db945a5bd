// Headers that protect whoever shows a response in a browser.
#pragma once

#include "http/message.h"

namespace polaiga::web {

// Nothing comes from another host, nothing is put into another page, and no text can become a program.
void add_protection(Response& response, bool is_encrypted);

}  // namespace polaiga::web
