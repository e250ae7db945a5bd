// The form above the list of active alarms, which chooses and sorts them.
#pragma once

#include <cstddef>
#include <string>

#include "page/choice.h"
#include "page/markup.h"

namespace polaiga::web {

// The form as it was filled in, and how many alarms it chose of how many.
Markup filter_form(const Choice& choice, std::size_t shown, std::size_t of);

// The address of the same list from another row on.
std::string list_address(const Choice& choice, std::size_t skip);

}  // namespace polaiga::web
