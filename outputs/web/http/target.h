// What an HTTP request is for: its path and its query, decoded.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace polaiga::web {

// A request that cannot be answered because of how it was written. The text says why, for whoever sent it.
struct BadTarget : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Target {
  static constexpr std::size_t kMostBytes = 4096;
  static constexpr std::size_t kMostParameters = 32;

  // "/api/v1/" is "api", "v1" and "". A segment may have any character that can be shown, a slash, too.
  std::vector<std::string> path;
  std::vector<std::pair<std::string, std::string>> query;

  // The value of a parameter of the query; nothing when it is not there.
  std::optional<std::string_view> find(std::string_view name) const;
};

// Reads the origin-form of RFC 9112 section 3.2.1, as "/alarms?under=sys%2Frack". Throws BadTarget for one that is too
// long, has a bad escape (RFC 3986), text that is not UTF-8 or that cannot be shown, a segment "." or "..", or
// a parameter twice.
Target parse_target(std::string_view text);

// The target as text, with a slash before each segment: it reads the same.
std::string target_text(const Target& target);

// Escapes what may not stand in a path segment or in a query.
std::string percent_encoded(std::string_view text);

}  // namespace polaiga::web
