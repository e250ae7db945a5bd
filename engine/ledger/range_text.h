// How people are told of numbers that follow each other.
#pragma once

#include <cstdint>
#include <string>

#include "ledger/tables.h"

namespace polaiga::engine {

// "input 5", "inputs 5 to 9". `what` is the word for one of them.
std::string range_text(const char* what, std::int64_t first, std::int64_t last);

// What was lost with a gap: "input 8 was lost", "inputs 8 to 9 and change 12 were lost".
std::string lost_text(const GapRow& gap);

}  // namespace polaiga::engine
