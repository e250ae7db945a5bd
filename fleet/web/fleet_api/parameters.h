// The parameters of the API of a fleet.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "http/target.h"
#include "model/dictionary.h"
#include "questions/alarms.h"

namespace polaiga::web {

// A parameter that is not right; a sentence without its full stop that says what is allowed.
struct BadParameter : std::runtime_error {
  using std::runtime_error::runtime_error;
};

inline constexpr std::int64_t kMostSkipped = 1'000'000;
inline constexpr std::int64_t kMostNumbered = 1'000'000'000'000'000;

// The parameters of one address, each of which may be taken once. All throw BadParameter.
class Parameters {
 public:
  // Throws when there is a parameter that is none of these.
  Parameters(const Target& target, std::initializer_list<std::string_view> names);

  // Empty: it is not there.
  std::string text(std::string_view name) const;
  // The name of a site or of a controller; empty: it is not there.
  std::string name(std::string_view name) const;
  bool flag(std::string_view name) const;
  std::optional<std::int64_t> number(std::string_view name, std::int64_t least, std::int64_t most) const;
  std::optional<engine::Severity> severity() const;
  std::int64_t limit(std::int64_t most, std::int64_t usual = 100) const {
    return number("limit", 0, most).value_or(usual);
  }

 private:
  const Target& target_;
};

// site, controller, severity, state, unacknowledged, shelved, all, text and group.
fleet::AlarmFilter read_alarm_filter(const Parameters& parameters);

// "3,+4" as 3 and 7, ascending; nothing when it is no such list or has more than `most` numbers.
std::optional<std::vector<std::int64_t>> parse_numbers(std::string_view text, std::size_t most);

}  // namespace polaiga::web
