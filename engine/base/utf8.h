// Reads UTF-8 character by character, whatever the bytes are.
#pragma once

#include <cstddef>
#include <string_view>

namespace polaiga::engine {

// The first character of a text. What is not UTF-8 counts as a character that is not
// valid; its size is that of the bytes which could have begun a character.
struct Character {
  char32_t code = 0;
  std::size_t size = 0;
  bool valid = false;
};

// The text must not be empty.
Character first_character(std::string_view text);

}  // namespace polaiga::engine
