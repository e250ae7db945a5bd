#include "compare/answer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "model/fields.h"
#include "model/record_text.h"

namespace polaiga::engine {
namespace {

Value value_of(std::int64_t number) { return number; }

template <std::size_t N>
Value value_of(const char (&text)[N]) {
  return std::string(field_text(text));
}

// Reserved bytes.
template <std::size_t N>
Value value_of(const std::uint8_t (&bytes)[N]) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) text.append({kDigits[byte / 16U], kDigits[byte % 16U]});
  return text;
}

// Reserved bytes are no fields of the model, but no build may change them unnoticed.
constexpr std::tuple kReservedOfEvent{
    Field<&fe_sensor_event::reserved1>{"reserved1"},
    Field<&fe_sensor_event::reserved2>{"reserved2"},
    Field<&fe_sensor_event::reserved3>{"reserved3"},
};
constexpr std::tuple kReservedOfRecord{
    Field<&fe_fault_record::reserved1>{"reserved1"}, Field<&fe_fault_record::reserved2>{"reserved2"},
    Field<&fe_fault_record::reserved3>{"reserved3"}, Field<&fe_fault_record::reserved4>{"reserved4"},
    Field<&fe_fault_record::reserved5>{"reserved5"},
};
constexpr std::tuple kWithdrawn{Field<&LibraryAnswer::withdrawn>{"withdrawn"}};

template <class NamedField, class Struct>
Value read(const NamedField& field, const Struct& from) {
  using Type = std::remove_cvref_t<decltype(from.*field.kMember)>;
  if constexpr (std::is_same_v<Type, decltype(fe_fault_record::oid)>) {
    return dotted_oid(from);
  } else {
    return value_of(from.*field.kMember);
  }
}

// Compares the fields of a list.
template <class Fields, class Struct>
void compare(const Fields& fields, const char* prefix, const Struct& a, const Struct& b,
             std::vector<Difference>& found) {
  for_each_field(fields, [&](const auto& field) {
    Value in_a = read(field, a);
    Value in_b = read(field, b);
    if (in_a != in_b) found.push_back({prefix + std::string(field.name), std::move(in_a), std::move(in_b)});
  });
}

void compare(const char* prefix, const fe_sensor_event& a, const fe_sensor_event& b, std::vector<Difference>& found) {
  compare(kEventSubject, prefix, a, b, found);
  compare(kEventValues, prefix, a, b, found);
  compare(kReservedOfEvent, prefix, a, b, found);
}

LibraryAnswer unstamped(LibraryAnswer answer) {
  std::ranges::fill(answer.record.created, '\0');
  answer.record.created_time = 0;
  return answer;
}

// Almost all pairs of answers have the same bytes. Then the fields need not be compared.
bool same_bytes(const LibraryAnswer& a, const LibraryAnswer& b) {
  using Bytes = std::array<std::byte, sizeof(LibraryAnswer)>;
  return std::bit_cast<Bytes>(unstamped(a)) == std::bit_cast<Bytes>(unstamped(b));
}

}  // namespace

std::vector<Difference> differences(const LibraryAnswer& a, const LibraryAnswer& b) {
  if (same_bytes(a, b)) return {};
  if ((a.result == 0) != (b.result == 0)) return {{"result", value_of(a.result), value_of(b.result)}};
  std::vector<Difference> found;
  compare("event.", a.record.event, b.record.event, found);
  compare(kRecordContent, "", a.record, b.record, found);
  compare(kReservedOfRecord, "", a.record, b.record, found);
  compare("caller_event.", a.event, b.event, found);
  compare(kWithdrawn, "", a, b, found);
  return found;
}

}  // namespace polaiga::engine
