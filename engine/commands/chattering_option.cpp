#include "commands/chattering_option.h"

#include "base/quantities.h"
#include "commands/options.h"

namespace polaiga::engine {
namespace {

constexpr Moment kMostWithin = 86'400;
constexpr const char* kExample = "5/10m";
constexpr const char* kAllowed = "a number from 1 to 100, a / and a time from 1s to 24h, with s, m or h behind it";

}  // namespace

std::optional<ChatteringLimit> parse_chattering_limit(const std::string& text) {
  static constexpr Unit kUnits[] = {{"s", 1}, {"m", 60}, {"h", 3'600}};
  const std::size_t slash = text.find('/');
  if (slash == std::string::npos) return std::nullopt;
  const auto times = parse_whole_number(text.substr(0, slash));
  const auto within = parse_quantity(text.substr(slash + 1), kUnits);
  const bool fits = times && within && *times >= 1 && static_cast<std::uint64_t>(*times) <= kMostChatteringTimes &&
                    *within >= 1 && *within <= kMostWithin;
  if (!fits) return std::nullopt;
  return ChatteringLimit{.times = static_cast<std::uint64_t>(*times), .within = *within};
}

void add_chattering_option(CLI::App& command, ChatteringLimit& limit) {
  add_value_option(command,
                   {"--chattering", "N/TIME",
                    "A fault that was raised again more than N times within TIME is chattering (default " +
                        std::string(kExample) + ")"},
                   {kAllowed, kExample}, [&limit](const std::string& text) {
                     const auto given = parse_chattering_limit(text);
                     if (given) limit = *given;
                     return given.has_value();
                   });
}

void add_chattering_option(CLI::App& command, std::optional<ChatteringLimit>& limit) {
  add_value_option(command,
                   {"--chattering", "N/TIME",
                    "A fault that is raised again more than N times within TIME is chattering; 0: none is (default " +
                        std::string(kExample) + ")"},
                   {std::string(kAllowed) + "; or 0", kExample}, [&limit](const std::string& text) {
                     limit = parse_chattering_limit(text);
                     return limit || text == "0";
                   });
}

}  // namespace polaiga::engine
