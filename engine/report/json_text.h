// JSON as text.
#pragma once

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace polaiga::engine {

// A text that was cut may end amid a character; what is left of it is replaced.
inline std::string json_text(const nlohmann::ordered_json& value) {
  return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

// Adds a text in double quotes.
inline void add_json_text(std::string& line, std::string_view text) {
  const auto needs_escape = [](char c) { return c < ' ' || c > '~' || c == '"' || c == '\\'; };
  if (std::ranges::any_of(text, needs_escape)) {
    line += json_text(text);
  } else {
    line.append(1, '"').append(text).append(1, '"');
  }
}

}  // namespace polaiga::engine
