#include "mapping/name_pattern.h"

#include <algorithm>
#include <charconv>

namespace polaiga::ipmi {
namespace {

constexpr std::size_t kMostDigits = 9;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// How far a name and a pattern were compared.
struct Place {
  std::size_t name = 0;
  std::size_t pattern = 0;
  NameNumbers numbers;
};

// Compares what the place in the pattern stands for with the name there. False: they differ.
bool step(std::string_view name, std::string_view pattern, Place& place) {
  const std::string_view rest = pattern.substr(place.pattern);
  for (const std::string_view number : {kUnitPlaceholder, kGroupPlaceholder}) {
    if (!rest.starts_with(number)) continue;
    const char* const begin = name.data() + place.name;
    const char* const end = std::find_if_not(begin, name.data() + name.size(), is_digit);
    const auto digits = static_cast<std::size_t>(end - begin);
    if (digits == 0 || digits > kMostDigits) return false;
    std::from_chars(begin, end, number == kUnitPlaceholder ? place.numbers.unit : place.numbers.group);
    place.name += digits;
    place.pattern += number.size();
    return true;
  }
  if (place.name == name.size() || rest.empty()) return false;
  if (rest.front() != '?' && rest.front() != name[place.name]) return false;
  ++place.name;
  ++place.pattern;
  return true;
}

}  // namespace

std::optional<NamePattern::Complaint> NamePattern::complaint(std::string_view pattern) {
  if (pattern.empty()) return Complaint{"is empty; * stands for any name", 0};
  bool has_unit = false;
  bool has_group = false;
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    const std::string_view rest = pattern.substr(at);
    const bool is_unit = rest.starts_with(kUnitPlaceholder);
    const bool is_group = rest.starts_with(kGroupPlaceholder);
    if (is_unit || is_group) {
      bool& has = is_unit ? has_unit : has_group;
      if (has) return Complaint{"has this number twice", at};
      has = true;
      at += (is_unit ? kUnitPlaceholder : kGroupPlaceholder).size() - 1;
    } else if (rest.front() == '{' || rest.front() == '}') {
      return Complaint{"braces are for {unit} and {group} only", at};
    }
  }
  return std::nullopt;
}

bool NamePattern::takes_unit() const { return pattern_.find(kUnitPlaceholder) != std::string::npos; }
bool NamePattern::takes_group() const { return pattern_.find(kGroupPlaceholder) != std::string::npos; }

std::optional<NameNumbers> NamePattern::match(std::string_view name) const {
  Place place;
  std::optional<Place> star;  // behind the last * so far, and where in the name to go on when the rest does not fit
  while (place.name < name.size() || place.pattern < pattern_.size()) {
    if (place.pattern < pattern_.size() && pattern_[place.pattern] == '*') {
      ++place.pattern;
      star = place;
    } else if (!step(name, pattern_, place)) {
      if (!star || star->name == name.size()) return std::nullopt;
      ++star->name;
      place = *star;
    }
  }
  return place.numbers;
}

}  // namespace polaiga::ipmi
