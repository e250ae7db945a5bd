#include "access/names.h"

#include "base/printable.h"
#include "base/utf8.h"

namespace polaiga::web {
namespace {

bool can_be_shown(std::string_view text) {
  while (!text.empty()) {
    const engine::Character first = engine::first_character(text);
    if (!first.valid || !engine::is_shown(first.code)) return false;
    text.remove_prefix(first.size);
  }
  return true;
}

}  // namespace

bool is_user_name(std::string_view text) {
  return !text.empty() && text.size() <= kLongestUserName && text.find(':') == std::string_view::npos &&
         !text.starts_with('#') && !text.starts_with(' ') && !text.ends_with(' ') && can_be_shown(text);
}

bool is_password(std::string_view text) {
  return text.size() >= kShortestPassword && text.size() <= kLongestPassword && can_be_shown(text);
}

}  // namespace polaiga::web
