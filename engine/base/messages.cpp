#include "base/messages.h"

#include <cstdio>

#include "base/printable.h"

namespace polaiga::engine {

void say(const std::string& message) { std::fprintf(stderr, "polaiga: %s\n", printable(message).c_str()); }

void complain(const std::string& complaint) { std::fprintf(stderr, "%s\n", printable(complaint).c_str()); }

}  // namespace polaiga::engine
