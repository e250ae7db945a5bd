// Reads texts from a record's fields.
#pragma once

#include <polaiga/records.h>

#include <string>
#include <string_view>

namespace polaiga::engine {

// The text of a field: up to its NUL, or the whole field if it has none.
template <std::size_t N>
std::string_view field_text(const char (&field)[N]) {
  const std::string_view whole(field, N);
  return whole.substr(0, whole.find('\0'));
}

// The object identifier with dots between its arcs. Some filters leave the number of
// arcs 0; then all arcs up to the last that is not 0 count.
std::string dotted_oid(const fe_fault_record& record);

}  // namespace polaiga::engine
