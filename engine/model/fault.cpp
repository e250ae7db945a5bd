#include "model/fault.h"

#include <array>
#include <cstdio>

namespace polaiga::engine {

bool only_clears(const fe_fault_record& record) {
  return record.event.event_state == FE_STATE_DEASSERTED &&
         (record.clear_code == 0 || record.clear_code == record.code);
}

std::string fault_dn(std::string_view dn, std::uint32_t code) {
  std::array<char, FE_DN_SIZE> text{};
  std::snprintf(text.data(), text.size(), "%.*s/fault-F%04d", static_cast<int>(dn.size()), dn.data(),
                static_cast<int>(code));
  return text.data();
}

bool is_under(std::string_view dn, std::string_view root) {
  while (root.ends_with('/')) root.remove_suffix(1);
  if (!dn.starts_with(root)) return false;
  return dn.size() == root.size() || dn[root.size()] == '/';
}

}  // namespace polaiga::engine
