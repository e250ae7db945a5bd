// The beginning of what a peer answered, for messages to people.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace polaiga::alertmanager {

// So many bytes of an answer are kept, and so many characters are shown.
inline constexpr std::size_t kMostExcerpt = 512;
inline constexpr std::size_t kMostShown = 200;

// One line that a terminal may have; "" when nothing is left to show. A body that is a JSON text stands without its
// quotes.
std::string excerpt(std::string_view body);

}  // namespace polaiga::alertmanager
