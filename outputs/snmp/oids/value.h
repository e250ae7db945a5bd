// The value of an object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "oids/oid.h"

namespace polaiga::snmp {

struct Value {
  enum class Type : std::uint8_t { kInteger, kUnsigned, kCounter, kTicks, kText, kOid };

  Type type = Type::kInteger;
  std::uint32_t number = 0;  // of the first four
  std::string text = {};     // bytes
  Oid oid = {};

  bool operator==(const Value&) const = default;
};

inline Value integer(std::uint32_t number) { return {.type = Value::Type::kInteger, .number = number}; }
// Unsigned32 and Gauge32. What is more than they can be is told as the most that they can.
Value unsigned_number(std::uint64_t number);
inline Value counter(std::uint64_t number) {
  return {.type = Value::Type::kCounter, .number = static_cast<std::uint32_t>(number)};
}
inline Value ticks(std::uint32_t hundredths) { return {.type = Value::Type::kTicks, .number = hundredths}; }
// What is no UTF-8 becomes "?". A text is cut to what SnmpAdminString takes, between two characters, and ends with
// three dots then.
Value text(std::string_view text);
Value time_value(engine::Moment moment);
// An identifier without arcs is 0.0.
Value oid_value(Oid oid);

inline constexpr std::size_t kMostTextBytes = 255;

}  // namespace polaiga::snmp
