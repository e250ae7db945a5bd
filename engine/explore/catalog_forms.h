// Writes the found faults as text, as JSON, and as a page of the documentation.
#pragma once

#include <span>
#include <string>

#include "explore/fault_search.h"
#include "model/alarm_profile.h"

namespace polaiga::engine {

// The first two tell with each fault what the alarm profile says of it.
std::string catalog_as_text(std::span<const FoundFilter> filters, const AlarmProfile& profile = {});
std::string catalog_as_json(std::span<const FoundFilter> filters,
                            const AlarmProfile& profile = {});  // JSON Lines, one fault a line
std::string catalog_as_markdown(std::span<const FoundFilter> filters);

// Writes events as "offsets: states", as in "1-2: any but 0; 57: 4". `memories` is the
// number of memories that the filter of these events was tried with.
std::string brief_events(const Events& events, std::size_t memories);

// Writes several texts as one, with their differences in braces, as in
// "is {low / high}: check". There is one such text for those that say "Cleared" and one
// for the others.
std::vector<std::string> brief_texts(const std::map<std::string, Events>& texts);

}  // namespace polaiga::engine
