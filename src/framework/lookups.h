// The lookup in an exceptional list.
#pragma once

#include <polaiga/tables.h>

#include <cstdint>

namespace polaiga {

inline constexpr std::int32_t kNotListed = -1;  // this is also the id of the row that ends a list

// Returns the id of the sensor in the list, or kNotListed. The name in the list's last
// row is never compared.
std::int32_t find_id(const fe_exceptional_row* row, const char* sensor_name);

}  // namespace polaiga
