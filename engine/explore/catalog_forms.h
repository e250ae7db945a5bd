// The found faults for people, for programs and for the documentation.
#pragma once

#include <span>
#include <string>

#include "explore/fault_search.h"

namespace polaiga::engine {

std::string catalog_as_text(std::span<const FoundFilter> filters);
std::string catalog_as_json(std::span<const FoundFilter> filters);  // JSON Lines, a fault each
std::string catalog_as_markdown(std::span<const FoundFilter> filters);

// Events as "offsets: states", in ranges, as in "1-2: any but 0; 57: 4". `memories`
// is how many the filter of these events was tried with.
std::string brief_events(const Events& events, std::size_t memories);

// Texts as one, with what differs in braces, as in "is {low / high}: check". Texts
// that say "Cleared" are kept apart from those that do not.
std::vector<std::string> brief_texts(const std::map<std::string, Events>& texts);

}  // namespace polaiga::engine
