// Forgets a secret.
#pragma once

#include <cstring>
#include <string>

namespace polaiga::engine {

// Overwrites the text, in a way that the compiler does not leave out, and empties it.
inline void wipe(std::string& text) {
  ::explicit_bzero(text.data(), text.size());
  text.clear();
}

}  // namespace polaiga::engine
