#include "alerts/identity.h"

#include "base/printable.h"

namespace polaiga::alertmanager {

std::string why_no_name(const std::string& text) {
  constexpr std::size_t kMost = 128;
  if (text.empty()) return "a name has at least one character";
  if (text.size() > kMost) return "a name has at most " + std::to_string(kMost) + " bytes";
  if (engine::printable(text) != text) return "a name is UTF-8 of characters that can be seen";
  return "";
}

}  // namespace polaiga::alertmanager
