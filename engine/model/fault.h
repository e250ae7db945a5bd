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

// Whether a DN is this one or lies below it.
bool is_under(std::string_view dn, std::string_view root);

// Whether a DN, or one above it, is in a set or a map of DNs.
template <class Dns>
bool is_under_one_of(std::string_view dn, const Dns& dns) {
  while (!dn.empty() && !dns.empty()) {
    if (dns.contains(dn)) return true;
    const std::size_t end = dn.rfind('/');
    dn = end == std::string_view::npos ? std::string_view() : dn.substr(0, end);
  }
  return false;
}

}  // namespace polaiga::engine
