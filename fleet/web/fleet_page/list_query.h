// What a reader of the page has chosen to see.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "http/target.h"
#include "questions/alarms.h"

namespace polaiga::web {

// What the address says. A value that means nothing counts as none: an address that somebody has typed or shortened
// still shows the page.
struct ListQuery {
  fleet::AlarmFilter filter;
  fleet::AlarmOrder order = fleet::AlarmOrder::kWorst;
  std::int64_t skip = 0;
  std::optional<std::int64_t> before;
  std::string query;  // all but `skip` and `before`, as in "site=hall-b&text=fan"
};

ListQuery read_list_query(const Target& target);

}  // namespace polaiga::web
