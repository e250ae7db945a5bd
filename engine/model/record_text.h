// Records as text.
#pragma once

#include <polaiga/records.h>

#include <string>
#include <string_view>

namespace polaiga::engine {

// A field's text, to its NUL or its end.
template <std::size_t N>
std::string_view field_text(const char (&field)[N]) {
  const std::string_view whole(field, N);
  return whole.substr(0, whole.find('\0'));
}

// The object identifier in dots: the arcs that count or, of a record that leaves
// their number alone, all that are there.
std::string dotted_oid(const fe_fault_record& record);

}  // namespace polaiga::engine
