// How many files and sockets this process may have open.
#pragma once

#include <cstddef>

namespace polaiga::web {

// Raises the limit to so many, as far as the system lets this process do so; answers what it is then.
std::size_t allow_open_files(std::size_t wanted);

}  // namespace polaiga::web
