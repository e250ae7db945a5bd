#include "wire/names.h"

#include <algorithm>
#include <array>

#include "model/words.h"

namespace polaiga::fleet {
namespace {

constexpr std::string_view kPrefix = "polaiga.v1.";
constexpr std::size_t kMostNameBytes = 64;

constexpr engine::Words<7> kKindWords{"change", "status", "replayed", "acted", "ack", "replay", "action"};

bool is_name_character(char c) {
  return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || ('0' <= c && c <= '9') || c == '_' || c == '-';
}

// What stands before the next '.', which is taken away with it.
std::string_view next_part(std::string_view& rest) {
  const std::size_t end = std::min(rest.find('.'), rest.size());
  const std::string_view part = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return part;
}

}  // namespace

bool is_fleet_name(std::string_view name) {
  return !name.empty() && name.size() <= kMostNameBytes && std::ranges::all_of(name, is_name_character);
}

std::string_view kind_word(Kind kind) { return kKindWords.at(static_cast<std::size_t>(kind)); }

std::string routing_key(const Sender& sender, Kind kind) {
  return std::string(kPrefix) + sender.site + "." + sender.controller + "." + std::string(kind_word(kind));
}

std::optional<Route> parse_routing_key(std::string_view key) {
  if (!key.starts_with(kPrefix)) return std::nullopt;
  std::string_view rest = key.substr(kPrefix.size());
  const std::string_view site = next_part(rest);
  const std::string_view controller = next_part(rest);
  // What is left is the kind, or has parts that no such key has.
  const auto kind = engine::value_of<Kind>(kKindWords, rest);
  if (!is_fleet_name(site) || !is_fleet_name(controller) || !kind) return std::nullopt;
  return Route{.sender = {.site = std::string(site), .controller = std::string(controller)}, .kind = *kind};
}

}  // namespace polaiga::fleet
