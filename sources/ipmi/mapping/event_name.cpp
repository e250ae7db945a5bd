#include "mapping/event_name.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace polaiga::ipmi {
namespace {

constexpr std::string_view kNamePlaceholder = "{name}";
constexpr std::string_view kEntityPlaceholder = "{entity}";
constexpr std::array kPlaceholders = {kNamePlaceholder, kUnitPlaceholder, kGroupPlaceholder, kEntityPlaceholder};

std::string_view placeholder_at(std::string_view rest) {
  const auto* const found =
      std::ranges::find_if(kPlaceholders, [rest](std::string_view one) { return rest.starts_with(one); });
  return found == kPlaceholders.end() ? std::string_view() : *found;
}

bool is_printable(char c) { return c >= ' ' && c <= '~'; }

}  // namespace

std::optional<NamePattern::Complaint> EventName::complaint(std::string_view text, const NamePattern& pattern) {
  if (text.empty()) return NamePattern::Complaint{"is empty; {name} stands for the sensor's own name", 0};
  std::size_t plain = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const std::string_view placeholder = placeholder_at(text.substr(at));
    if (placeholder == kUnitPlaceholder && !pattern.takes_unit()) {
      return NamePattern::Complaint{"the sensor's pattern has no {unit}", at};
    }
    if (placeholder == kGroupPlaceholder && !pattern.takes_group()) {
      return NamePattern::Complaint{"the sensor's pattern has no {group}", at};
    }
    if (!placeholder.empty()) {
      at += placeholder.size() - 1;
    } else if (text[at] == '{' || text[at] == '}') {
      return NamePattern::Complaint{"braces are for {name}, {unit}, {group} and {entity} only", at};
    } else if (!is_printable(text[at])) {
      return NamePattern::Complaint{"only printable characters of ASCII are allowed", at};
    } else if (++plain > kLongestEventName) {
      return NamePattern::Complaint{"a name has at most " + std::to_string(kLongestEventName) + " bytes", at};
    }
  }
  return std::nullopt;
}

std::string EventName::of(const Sensor& sensor, const NameNumbers& numbers) const {
  std::string name;
  for (std::size_t at = 0; at < text_.size(); ++at) {
    const std::string_view placeholder = placeholder_at(std::string_view(text_).substr(at));
    if (placeholder == kNamePlaceholder) name += sensor.name;
    if (placeholder == kUnitPlaceholder) name += std::to_string(numbers.unit);
    if (placeholder == kGroupPlaceholder) name += std::to_string(numbers.group);
    if (placeholder == kEntityPlaceholder) name += std::to_string(sensor.entity_instance);
    if (placeholder.empty()) {
      name += text_[at];
    } else {
      at += placeholder.size() - 1;
    }
  }
  if (!name.empty() && name.size() <= kLongestEventName && std::ranges::all_of(name, is_printable)) return name;

  std::array<char, 7> mark{};  // "~" and five digits
  std::snprintf(mark.data(), mark.size(), "~%02X%X%02X", unsigned{sensor.key.owner}, sensor.key.lun & 0xFU,
                unsigned{sensor.key.number});
  name.resize(std::min(name.size(), kLongestEventName - 6));
  std::ranges::replace_if(
      name, [](char c) { return !is_printable(c); }, '?');
  return name + mark.data();
}

}  // namespace polaiga::ipmi
