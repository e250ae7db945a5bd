// Texts from outside, in HTML.
#pragma once

#include <string>
#include <string_view>

namespace polaiga::web {

// Makes a text from outside safe to show, between tags and in a quoted attribute. What HTML would obey is escaped, and
// a character that cannot be seen is shown as its code, as in "[U+202E]"; so is a byte that is not UTF-8: "[0xFF]".
std::string escaped(std::string_view text);

}  // namespace polaiga::web
