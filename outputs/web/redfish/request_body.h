// What clients send: JSON objects of bounded size.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "http/message.h"

namespace polaiga::web {

inline constexpr std::size_t kMostBodyBytes = std::size_t{16} * 1024;
inline constexpr std::size_t kMostBodyDepth = 4;

// A body must be sent as application/json; no body may be sent as anything. Throws Refusal.
void expect_json(const Request& request);

// Reads a JSON object of kMostBodyBytes and kMostBodyDepth at most, without a member that is there twice. Throws
// Refusal.
nlohmann::json parse_body(std::string_view body);

// What of a value is said in a refusal.
std::string brief(const nlohmann::json& value);

}  // namespace polaiga::web
