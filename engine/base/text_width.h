// How much room texts take on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace polaiga::engine {

// In columns. Marks that stand on other characters take none, East Asian characters
// take two, and so do most pictures. Sequences that colour take none.
std::size_t text_width(std::string_view text);

// The text, or as much of it as fits with three dots behind it. It holds no sequences
// that colour.
std::string cut_to_width(std::string_view text, std::size_t width);

// The same, with the end of the text and the dots before it.
std::string cut_front_to_width(std::string_view text, std::size_t width);

}  // namespace polaiga::engine
