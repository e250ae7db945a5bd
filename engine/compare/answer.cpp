#include "compare/answer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>

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

Value read_oid(const fe_fault_record& record) { return dotted_oid(record); }

template <class Struct>
struct Field {
  std::string_view name;
  Value (*read)(const Struct& from);
};

template <auto Member, class Struct>
Value read(const Struct& from) {
  return value_of(from.*Member);
}

constexpr Field<fe_sensor_event> kEventFields[] = {
    {"entity_id", read<&fe_sensor_event::entity_id>},
    {"entity_subtype", read<&fe_sensor_event::entity_subtype>},
    {"reserved1", read<&fe_sensor_event::reserved1>},
    {"group_instance", read<&fe_sensor_event::group_instance>},
    {"entity_instance", read<&fe_sensor_event::entity_instance>},
    {"event_state", read<&fe_sensor_event::event_state>},
    {"event_offset", read<&fe_sensor_event::event_offset>},
    {"reserved2", read<&fe_sensor_event::reserved2>},
    {"sensor_name", read<&fe_sensor_event::sensor_name>},
    {"reading_type", read<&fe_sensor_event::reading_type>},
    {"reserved3", read<&fe_sensor_event::reserved3>},
};

constexpr Field<fe_fault_record> kRecordFields[] = {
    {"fault_key", read<&fe_fault_record::fault_key>},
    {"reserved1", read<&fe_fault_record::reserved1>},
    {"dn", read<&fe_fault_record::dn>},
    {"fault_dn", read<&fe_fault_record::fault_dn>},
    {"rn", read<&fe_fault_record::rn>},
    {"code_text", read<&fe_fault_record::code_text>},
    {"oid", read_oid},
    {"oid_len", read<&fe_fault_record::oid_len>},
    {"reserved2", read<&fe_fault_record::reserved2>},
    {"descr", read<&fe_fault_record::descr>},
    {"reserved3", read<&fe_fault_record::reserved3>},
    {"disposition", read<&fe_fault_record::disposition>},
    {"reserved4", read<&fe_fault_record::reserved4>},
    {"cause_id", read<&fe_fault_record::cause_id>},
    {"clear_cause_id", read<&fe_fault_record::clear_cause_id>},
    {"cause", read<&fe_fault_record::cause>},
    {"clear_cause", read<&fe_fault_record::clear_cause>},
    {"code", read<&fe_fault_record::code>},
    {"clear_code", read<&fe_fault_record::clear_code>},
    {"reserved5", read<&fe_fault_record::reserved5>},
    {"name", read<&fe_fault_record::name>},
};

template <class Struct>
void compare(std::span<const Field<Struct>> fields, const char* prefix, const Struct& a, const Struct& b,
             std::vector<Difference>& found) {
  for (const Field<Struct>& field : fields) {
    Value in_a = field.read(a);
    Value in_b = field.read(b);
    if (in_a != in_b) found.push_back({prefix + std::string(field.name), std::move(in_a), std::move(in_b)});
  }
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
  compare<fe_sensor_event>(kEventFields, "event.", a.record.event, b.record.event, found);
  compare<fe_fault_record>(kRecordFields, "", a.record, b.record, found);
  compare<fe_sensor_event>(kEventFields, "caller_event.", a.event, b.event, found);
  constexpr Field<LibraryAnswer> kWithdrawn[] = {{"withdrawn", read<&LibraryAnswer::withdrawn>}};
  compare<LibraryAnswer>(kWithdrawn, "", a, b, found);
  return found;
}

}  // namespace polaiga::engine
