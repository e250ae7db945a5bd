// Asks for a new password.
#pragma once

#include <string>

#include "access/secrets.h"

namespace polaiga::web {

// From a terminal at standard input, twice and without showing it; else the first line of standard input. Throws
// std::runtime_error when it is none that a user may have, or was not typed twice alike.
Secret ask_new_password(const std::string& name);

}  // namespace polaiga::web
