#include "access/cookies.h"

#include <algorithm>

namespace polaiga::web {
namespace {

bool is_cookie_octet(char c) { return c > ' ' && c < '\x7F' && c != '"' && c != ',' && c != ';' && c != '\\'; }

}  // namespace

std::optional<std::string_view> find_cookie(std::string_view header, std::string_view name) {
  std::optional<std::string_view> found;
  for (bool is_last = false; !is_last;) {
    const std::size_t end = header.find(';');
    is_last = end == std::string_view::npos;
    std::string_view pair = header.substr(0, end);
    if (!is_last) header.remove_prefix(end + 1);
    while (pair.starts_with(' ')) pair.remove_prefix(1);
    const std::size_t equals = pair.find('=');
    if (equals == std::string_view::npos || pair.substr(0, equals) != name) continue;
    const std::string_view value = pair.substr(equals + 1);
    if (found || !std::ranges::all_of(value, is_cookie_octet)) return std::nullopt;
    found = value;
  }
  return found;
}

}  // namespace polaiga::web
