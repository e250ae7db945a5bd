// The names with which sensors are sent to the engine.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "mapping/name_pattern.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {

inline constexpr std::size_t kLongestEventName = 19;  // bytes; the library's records have no more room

// A text with {name}, {unit}, {group} and {entity} in it: the sensor's own name, the numbers that were taken out of it,
// and the entity instance of its SDR.
class EventName {
 public:
  // The text must be one of which complaint() has nothing to say.
  explicit EventName(std::string_view text) : text_(text) {}

  // What is wrong with a text for names that fit `pattern`; nothing: it is one.
  static std::optional<NamePattern::Complaint> complaint(std::string_view text, const NamePattern& pattern);

  // A name that has no bytes, too many of them, or others than ASCII's printable ones is sent with "?" in place of the
  // latter, cut, and with a mark at its end that no other sensor of the controller has: "~" and its owner, LUN and
  // number in hexadecimal digits.
  std::string of(const Sensor& sensor, const NameNumbers& numbers) const;

 private:
  std::string text_;
};

}  // namespace polaiga::ipmi
