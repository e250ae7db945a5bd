// JSON as text.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace polaiga::engine {

// A text that was cut may end amid a character; what is left of it is replaced. What a
// terminal must not get is escaped, as JSON escapes it.
std::string json_text(const nlohmann::ordered_json& value);

// Adds a text in double quotes.
void add_json_text(std::string& line, std::string_view text);

}  // namespace polaiga::engine
