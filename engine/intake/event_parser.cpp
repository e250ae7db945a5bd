#include "intake/event_parser.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/printable.h"

namespace polaiga::engine {
namespace {

using nlohmann::json;

// What a member may be given. An array of this, rather than a tree of JSON, keeps
// a line from costing more than its event.
struct Value {
  enum class Kind : std::uint8_t { kNone, kText, kNegative, kNumber, kOther };

  Kind kind = Kind::kNone;
  std::uint64_t number = 0;  // of the negative, too, as it is in memory
  std::string text;
};

const std::string& text_of(const Value& value, std::string_view name) {
  if (value.kind != Value::Kind::kText) throw BadLine(in_quotes(name) + " must be a text");
  return value.text;
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
T integer_of(const Value& value, std::string_view name, T least = std::numeric_limits<T>::min(),
             T most = std::numeric_limits<T>::max()) {
  switch (value.kind) {
    case Value::Kind::kNumber:
      return integer_of(value.number, name, least, most);
    case Value::Kind::kNegative:
      return integer_of(static_cast<std::int64_t>(value.number), name, least, most);
    default:
      throw BadLine(in_quotes(name) + " must be an integer");
  }
}

// How each member is read. Those that set the defaults of others come first.
struct Member {
  std::string_view name;
  bool required;
  void (*read)(const Value& value, std::string_view name, SensorEvent& line);
};

template <auto Field>
void read_number(const Value& value, std::string_view name, SensorEvent& line) {
  auto& field = line.event.*Field;
  field = integer_of<std::remove_reference_t<decltype(field)>>(value, name);
}

void read_entity(const Value& value, std::string_view name, SensorEvent& line) {
  const std::string& text = text_of(value, name);
  line.entity = find_entity(text);
  if (line.entity == nullptr) throw BadLine("entity " + in_quotes(text) + " is not known to this build");
  line.event.entity_id = line.entity->entity_id;
}

void read_sensor(const Value& value, std::string_view name, SensorEvent& line) {
  const std::string& text = text_of(value, name);
  constexpr std::size_t kLongest = FE_SENSOR_NAME_SIZE - 1;
  if (text.size() > kLongest) {
    throw BadLine(in_quotes(name) + " has " + std::to_string(text.size()) + " bytes; at most " +
                  std::to_string(kLongest) + " fit");
  }
  if (text.find('\0') != std::string::npos) throw BadLine(in_quotes(name) + " holds a NUL");
  std::memcpy(line.event.sensor_name, text.c_str(), text.size() + 1);
}

void read_offset(const Value& value, std::string_view name, SensorEvent& line) {
  const auto offset = integer_of<std::int32_t>(value, name);
  line.event.event_offset = offset;
  if (offset >= FE_OFFSET_LOWER_NON_CRITICAL && offset <= FE_OFFSET_UPPER_NON_RECOVERABLE) {
    line.event.reading_type = FE_READING_THRESHOLD;
  }
}

void read_time(const Value& value, std::string_view name, SensorEvent& line) {
  if (value.kind != Value::Kind::kText) {
    line.time = integer_of<Moment>(value, name, 0, kLastMoment);
    return;
  }
  const std::string& text = text_of(value, name);
  line.time = parse_moment(text);
  if (!line.time) {
    throw BadLine(in_quotes(name) + " is " + in_quotes(text) + ", which is no RFC 3339 time from 1970 to 9999");
  }
}

void read_id(const Value& value, std::string_view name, SensorEvent& line) {
  const std::string& text = text_of(value, name);
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

// What the parser says, less its own preamble and the bytes that it quotes.
std::string complaint(std::size_t byte, std::string_view what) {
  const std::string at = " at byte " + std::to_string(byte);
  if (what.find("ill-formed UTF-8") != std::string_view::npos) return "not UTF-8" + at;
  const std::size_t begin = what.find("syntax error");
  if (begin == std::string_view::npos) return "not JSON" + at;
  return "not JSON" + at + ": " + printable(what.substr(begin, what.find("; last read") - begin));
}

// Takes the members of one object from the parser. A tree of all that a line may
// hold would take most of a replay's time.
class Members : public nlohmann::json_sax<json> {
 public:
  bool null() override { return take(Value::Kind::kOther); }
  bool boolean(bool /*value*/) override { return take(Value::Kind::kOther); }
  bool number_integer(std::int64_t value) override {
    return take(Value::Kind::kNegative, static_cast<std::uint64_t>(value));
  }
  bool number_unsigned(std::uint64_t value) override { return take(Value::Kind::kNumber, value); }
  bool number_float(double /*value*/, const std::string& /*text*/) override { return take(Value::Kind::kOther); }
  bool string(std::string& value) override {
    if (is_wanted()) values_[current_].text = value;
    return take(Value::Kind::kText);
  }
  bool binary(json::binary_t& /*value*/) override { return false; }  // not of JSON

  bool start_object(std::size_t /*size*/) override {
    if (depth_ == 0) is_object_ = true;
    return enter();
  }
  bool start_array(std::size_t /*size*/) override { return enter(); }
  bool end_object() override { return leave(); }
  bool end_array() override { return leave(); }

  bool key(std::string& name) override {
    if (depth_ == 1) begin_member(name);
    return true;
  }

  bool parse_error(std::size_t byte, const std::string& /*token*/, const nlohmann::detail::exception& error) override {
    constexpr int kOutOfRange = 406;
    throw BadLine(error.id == kOutOfRange ? "not JSON: a number is too large" : complaint(byte, error.what()));
  }

  SensorEvent line() const {
    if (!is_object_) throw BadLine("not an object");
    if (unknown_) throw BadLine("member " + in_quotes(*unknown_) + " is not known");
    SensorEvent line;
    line.event.entity_instance = 1;
    for (std::size_t i = 0; i < kMemberCount; ++i) {
      const Member& member = kMembers[i];
      if (values_[i].kind != Value::Kind::kNone) {
        member.read(values_[i], member.name, line);
      } else if (member.required) {
        throw BadLine("member " + in_quotes(member.name) + " is missing");
      }
    }
    return line;
  }

 private:
  bool enter() {
    take(Value::Kind::kOther);
    ++depth_;
    return true;
  }

  bool leave() {
    --depth_;
    return true;
  }

  // A member that comes twice would otherwise pass with the value of its last.
  void begin_member(const std::string& name) {
    const auto* const member = std::ranges::find(kMembers, name, &Member::name);
    current_ = static_cast<std::size_t>(member - kMembers);
    if (member == std::end(kMembers)) {
      if (!unknown_) unknown_ = name;
    } else if (values_[current_].kind != Value::Kind::kNone) {
      throw BadLine("member " + in_quotes(name) + " comes twice");
    }
  }

  bool is_wanted() const { return depth_ == 1 && is_object_ && current_ < kMemberCount; }

  bool take(Value::Kind kind, std::uint64_t number = 0) {
    if (!is_wanted()) return true;
    values_[current_].kind = kind;
    values_[current_].number = number;
    return true;
  }

  std::array<Value, kMemberCount> values_;
  std::optional<std::string> unknown_;  // the first
  std::size_t current_ = kMemberCount;  // which member's value comes
  std::size_t depth_ = 0;
  bool is_object_ = false;
};

}  // namespace

SensorEvent parse_sensor_event(std::string_view text) {
  Members members;
  json::sax_parse(text, &members);
  return members.line();
}

std::vector<EventMember> event_members() {
  std::vector<EventMember> members;
  for (const Member& member : kMembers) members.push_back({member.name, member.required});
  return members;
}

}  // namespace polaiga::engine
