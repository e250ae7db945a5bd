// JSON as text.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace polaiga::engine {

// A text that was cut may end amid a character; what is left of it is replaced.
inline std::string json_text(const nlohmann::ordered_json& value) {
  return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace polaiga::engine
