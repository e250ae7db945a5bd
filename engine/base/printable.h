// Makes texts from outside safe to show on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace polaiga::engine {

// Whether a character may reach a terminal. Control characters may not, since they
// command the terminal; nor may what turns the direction of the text, ends a line or a
// paragraph, or is not seen at all, since a text with it is not what it looks like.
bool is_shown(char32_t character);

// Appends a text to a line, with "?" in place of every character that is not shown
// and of what is not UTF-8.
void add_printable(std::string& line, std::string_view text);

std::string printable(std::string_view text);

// The same for a text of several lines, which stay lines.
std::string printable_lines(std::string_view text);

// The same in single quotes. A long text is cut.
std::string in_quotes(std::string_view text);

}  // namespace polaiga::engine
