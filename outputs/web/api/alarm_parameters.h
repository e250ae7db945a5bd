// Which alarms a query asks for.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "http/target.h"
#include "ledger/alarm_selection.h"

namespace polaiga::web {

// A query that is not right; a sentence that says what is allowed.
struct BadQuery : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct AlarmQuery {
  engine::AlarmSelection selection;
  std::string text;                  // found in the DN, the code or a description, in any letters
  std::optional<engine::Moment> at;  // as it was then
  std::size_t limit = 1000;
  std::size_t skip = 0;

  // Whether the alarm is wanted, beside its selection.
  bool has(const engine::ActiveRow& row) const;
};

// Reads the parameters under, severity, entity, state, unacknowledged, shelved, all, older_than, newer_than, text, at,
// limit and skip. Throws BadQuery for others, and for values that are not right.
AlarmQuery read_alarm_query(const Target& target);

// The largest number of a change that a parameter may name.
inline constexpr std::int64_t kMostNumber = 1'000'000'000'000'000;

// A whole number from `least` to `most`; nothing when the parameter is not there. Throws BadQuery.
std::optional<std::int64_t> number_parameter(const Target& target, std::string_view name, std::int64_t least,
                                             std::int64_t most);

// The parameter limit of lists that are read from the ledger, from 1 to 1000; without it 100. Throws BadQuery.
std::int64_t limit_parameter(const Target& target);

// Throws BadQuery when there is a parameter that is none of these.
void expect_only(const Target& target, std::initializer_list<std::string_view> names);

}  // namespace polaiga::web
