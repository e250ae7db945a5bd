#include "intake/event_parser.h"

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <new>
#include <optional>
#include <utility>

#include "base/printable.h"

namespace polaiga::engine {
namespace {

using simdjson::dom::element;

// simdjson finds out which processor it runs on when it is used first, and cannot bear that there is no memory then. So
// this is done before the program begins.
// NOLINTNEXTLINE(cert-err58-cpp)
[[maybe_unused]] const std::string kProcessor = simdjson::get_active_implementation()->name();

std::string_view text_of(element value, std::string_view name) {
  std::string_view text;
  if (value.get(text) != simdjson::SUCCESS) throw BadLine(in_quotes(name) + " must be a text");
  return text;
}

template <class T, class Given>
T integer_of(Given given, std::string_view name, T least, T most) {
  if (std::cmp_less(given, least) || std::cmp_greater(given, most)) {
    throw BadLine(in_quotes(name) + " is " + std::to_string(given) + ", which is outside " + std::to_string(least) +
                  " to " + std::to_string(most));
  }
  return static_cast<T>(given);
}

template <class T>
T integer_of(element value, std::string_view name, T least = std::numeric_limits<T>::min(),
             T most = std::numeric_limits<T>::max()) {
  if (std::int64_t number = 0; value.get(number) == simdjson::SUCCESS) return integer_of(number, name, least, most);
  if (std::uint64_t number = 0; value.get(number) == simdjson::SUCCESS) return integer_of(number, name, least, most);
  throw BadLine(in_quotes(name) + " must be an integer");
}

// A member of the object and the function that reads its value. The members are read in the order of the table below,
// because some of them set the defaults of others: "entity" comes before "entity_id", "offset" before "reading_type".
struct Member {
  std::string_view name;
  bool required;
  void (*read)(element value, std::string_view name, SensorEvent& line);
};

template <auto Field>
void read_number(element value, std::string_view name, SensorEvent& line) {
  auto& field = line.event.*Field;
  field = integer_of<std::remove_reference_t<decltype(field)>>(value, name);
}

void read_entity(element value, std::string_view name, SensorEvent& line) {
  const std::string_view text = text_of(value, name);
  line.entity = find_entity(text);
  if (line.entity == nullptr) throw BadLine("entity " + in_quotes(text) + " is not known to this build");
  line.event.entity_id = line.entity->entity_id;
}

void read_sensor(element value, std::string_view name, SensorEvent& line) {
  const std::string_view text = text_of(value, name);
  constexpr std::size_t kLongest = FE_SENSOR_NAME_SIZE - 1;
  if (text.size() > kLongest) {
    throw BadLine(in_quotes(name) + " has " + std::to_string(text.size()) + " bytes; at most " +
                  std::to_string(kLongest) + " fit");
  }
  if (text.find('\0') != std::string::npos) throw BadLine(in_quotes(name) + " contains a NUL character");
  text.copy(line.event.sensor_name, text.size());  // the field was filled with NULs before
}

void read_offset(element value, std::string_view name, SensorEvent& line) {
  const auto offset = integer_of<std::int32_t>(value, name);
  line.event.event_offset = offset;
  if (offset >= FE_OFFSET_LOWER_NON_CRITICAL && offset <= FE_OFFSET_UPPER_NON_RECOVERABLE) {
    line.event.reading_type = FE_READING_THRESHOLD;
  }
}

void read_time(element value, std::string_view name, SensorEvent& line) {
  if (!value.is_string()) {
    line.time = integer_of<Moment>(value, name, 0, kLastMoment);
    return;
  }
  const std::string_view text = text_of(value, name);
  line.time = parse_moment(text);
  if (!line.time) {
    throw BadLine(in_quotes(name) + " is " + in_quotes(text) +
                  ", which is not an RFC 3339 time from 1970 to 9999, such as 2025-03-12T09:12:20Z");
  }
}

void read_id(element value, std::string_view name, SensorEvent& line) {
  const std::string_view text = text_of(value, name);
  if (text.empty()) throw BadLine(in_quotes(name) + " is empty");
  if (text.size() > kLongestId) {
    throw BadLine(in_quotes(name) + " has " + std::to_string(text.size()) + " bytes; at most " +
                  std::to_string(kLongestId) + " fit");
  }
  line.id = text;
}

constexpr Member kMembers[] = {
    {"entity", true, read_entity},
    {"sensor", true, read_sensor},
    {"offset", true, read_offset},
    {"state", true, read_number<&fe_sensor_event::event_state>},
    {"instance", false, read_number<&fe_sensor_event::entity_instance>},
    {"group", false, read_number<&fe_sensor_event::group_instance>},
    {"entity_id", false, read_number<&fe_sensor_event::entity_id>},
    {"entity_subtype", false, read_number<&fe_sensor_event::entity_subtype>},
    {"reading_type", false, read_number<&fe_sensor_event::reading_type>},
    {"time", false, read_time},
    {"id", false, read_id},
};

constexpr std::size_t kMemberCount = std::size(kMembers);

// What is wrong with a text that simdjson cannot read. It does not say where in the text the mistake is.
std::string complaint_about(simdjson::error_code error) {
  switch (error) {
    case simdjson::UTF8_ERROR:
      return "not UTF-8";
    case simdjson::DEPTH_ERROR:
      return "arrays or objects are nested too deeply";
    case simdjson::NUMBER_ERROR:
      return "not JSON: a number is malformed or too large";
    case simdjson::STRING_ERROR:
      return "not JSON: a text has a wrong escape sequence";
    case simdjson::UNESCAPED_CHARS:
      return "not JSON: a text has a control character that is not escaped";
    case simdjson::UNCLOSED_STRING:
      return "not JSON: a text has no closing quotation mark";
    case simdjson::T_ATOM_ERROR:
    case simdjson::F_ATOM_ERROR:
    case simdjson::N_ATOM_ERROR:
      return "not JSON: a word without quotation marks is none of true, false and null";
    case simdjson::MEMALLOC:
      throw std::bad_alloc();
    default:
      return "not JSON: something is missing or out of place; check the commas, colons, brackets and quotation marks";
  }
}

// Reads the whole text and checks that it is valid JSON. The object lives in the memory of the parser, which is used
// again by the next call on this thread.
simdjson::dom::object object_of(std::string_view text) {
  thread_local simdjson::dom::parser parser;
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  element root;
  if (const auto error = parser.parse(text.data(), text.size()).get(root)) {
    // Which of several errors the parser finds first depends on the processor.
    const bool is_text = simdjson::validate_utf8(text.data(), text.size());
    throw BadLine(complaint_about(is_text ? error : simdjson::UTF8_ERROR));
  }
  simdjson::dom::object object;
  if (root.get(object) != simdjson::SUCCESS) throw BadLine("not an object");
  return object;
}

}  // namespace

SensorEvent parse_sensor_event(std::string_view text) {
  std::array<std::optional<element>, kMemberCount> values;
  for (const auto& [name, value] : object_of(text)) {
    const auto* const member = std::ranges::find(kMembers, name, &Member::name);
    if (member == std::end(kMembers)) throw BadLine("member " + in_quotes(name) + " is not known");
    auto& known = values[static_cast<std::size_t>(member - kMembers)];
    if (known) throw BadLine("member " + in_quotes(name) + " comes twice");
    known = value;
  }
  SensorEvent line;
  line.event.entity_instance = 1;
  for (std::size_t i = 0; i < kMemberCount; ++i) {
    const Member& member = kMembers[i];
    if (values[i]) {
      member.read(*values[i], member.name, line);
    } else if (member.required) {
      throw BadLine("member " + in_quotes(member.name) + " is missing");
    }
  }
  return line;
}

std::vector<EventMember> event_members() {
  std::vector<EventMember> members;
  for (const Member& member : kMembers) members.push_back({member.name, member.required});
  return members;
}

}  // namespace polaiga::engine
