// Object identifiers as sequences of arcs, and how rows are named by them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "model/moment.h"

namespace polaiga::snmp {

using Oid = std::vector<std::uint32_t>;
using OidView = std::span<const std::uint32_t>;

// SNMP allows no more.
inline constexpr std::size_t kMostArcs = 128;

// As SNMP orders them: arc by arc, and what ends earlier comes first.
bool is_before(OidView one, OidView other);
bool is_same(OidView one, OidView other);
bool begins_with(OidView oid, OidView prefix);

Oid joined(OidView prefix, OidView rest);

// A text as part of a row's name: its length, and then each byte.
void add_text_index(Oid& oid, std::string_view text);

// A time in UTC as the eleven bytes of DateAndTime (RFC 2579).
std::vector<std::uint8_t> date_and_time(engine::Moment moment);
// The same as part of a row's name.
void add_time_index(Oid& oid, engine::Moment moment);

// Where the rows begin that a manager asks for: after the one with this index or, if `is_inclusive`, at it. The index
// is what the manager sent, so it need not be that of any row.
struct RowStart {
  OidView index = {};
  bool is_inclusive = true;
};

// Of a table whose rows are named by one number: the number of this row; nothing: no row can have this index.
std::optional<std::uint32_t> exact_number(OidView index);
// The least number that a row can have which is asked for. It may be more than an arc can be: then there is none.
std::uint64_t least_number(const RowStart& start);

}  // namespace polaiga::snmp
