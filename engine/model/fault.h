// Which fault a record is about.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace polaiga::engine {

// Whether a record clears its own fault and raises none.
bool only_clears(const fe_fault_record& record);

// The DN of the fault with this code of the object with this DN. It is cut to the
// length of the record's field, as the filters cut it.
std::string fault_dn(std::string_view dn, std::uint32_t code);

}  // namespace polaiga::engine
