#include "event_line.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "printable.h"

namespace polaiga::engine {
namespace {

using nlohmann::json;

const std::string& text_of(const json& value, std::string_view name) {
  if (!value.is_string()) throw BadLine(in_quotes(name) + " must be a text");
  return value.get_ref<const std::string&>();
}

template <class T>
T integer_of(const json& value, std::string_view name, T least = std::numeric_limits<T>::min(),
             T most = std::numeric_limits<T>::max()) {
  if (!value.is_number_integer()) throw BadLine(in_quotes(name) + " must be an integer");
  const bool fits = value.is_number_unsigned() ? std::in_range<T>(value.get<std::uint64_t>())
                                               : std::in_range<T>(value.get<std::int64_t>());
  if (!fits || value.get<T>() < least || value.get<T>() > most) {
    throw BadLine(in_quotes(name) + " is " + value.dump() + ", which is outside " + std::to_string(least) + " to " +
                  std::to_string(most));
  }
  return value.get<T>();
}

// How each member is read. Those that set the defaults of others come first.
struct Member {
  std::string_view name;
  bool required;
  void (*read)(const json& value, std::string_view name, EventLine& line);
};

template <auto Field>
void read_number(const json& value, std::string_view name, EventLine& line) {
  auto& field = line.event.*Field;
  field = integer_of<std::remove_reference_t<decltype(field)>>(value, name);
}

void read_entity(const json& value, std::string_view name, EventLine& line) {
  const std::string& text = text_of(value, name);
  line.entity = find_entity(text);
  if (line.entity == nullptr) throw BadLine("entity " + in_quotes(text) + " is not known to this build");
  line.event.entity_id = line.entity->entity_id;
}

void read_sensor(const json& value, std::string_view name, EventLine& line) {
  const std::string& text = text_of(value, name);
  constexpr std::size_t kLongest = FE_SENSOR_NAME_SIZE - 1;
  if (text.size() > kLongest) {
    throw BadLine(in_quotes(name) + " has " + std::to_string(text.size()) + " bytes; at most " +
                  std::to_string(kLongest) + " fit");
  }
  if (text.find('\0') != std::string::npos) throw BadLine(in_quotes(name) + " holds a NUL");
  std::memcpy(line.event.sensor_name, text.c_str(), text.size() + 1);
}

void read_offset(const json& value, std::string_view name, EventLine& line) {
  const auto offset = integer_of<std::int32_t>(value, name);
  line.event.event_offset = offset;
  if (offset >= FE_OFFSET_LOWER_NON_CRITICAL && offset <= FE_OFFSET_UPPER_NON_RECOVERABLE) {
    line.event.reading_type = FE_READING_THRESHOLD;
  }
}

void read_time(const json& value, std::string_view name, EventLine& line) {
  if (!value.is_string()) {
    line.time = integer_of<Moment>(value, name, 0, kLastMoment);
    return;
  }
  const std::string& text = text_of(value, name);
  line.time = parse_moment(text);
  if (!line.time) {
    throw BadLine(in_quotes(name) + " is " + in_quotes(text) + ", which is no RFC 3339 time from 1970 to 9999");
  }
}

void read_id(const json& value, std::string_view name, EventLine& line) {
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

const Member* find_member(std::string_view name) {
  for (const Member& member : kMembers) {
    if (member.name == name) return &member;
  }
  return nullptr;
}

// What the parser says, less its own preamble and the bytes that it quotes.
std::string complaint(const json::parse_error& error) {
  const std::string_view what = error.what();
  const std::string at = " at byte " + std::to_string(error.byte);
  if (what.find("ill-formed UTF-8") != std::string_view::npos) return "not UTF-8" + at;
  const std::size_t begin = what.find("syntax error");
  if (begin == std::string_view::npos) return "not JSON" + at;
  return "not JSON" + at + ": " + printable(what.substr(begin, what.find("; last read") - begin));
}

json parse_object(std::string_view text) {
  std::vector<std::string> names;
  // A member that comes twice would otherwise pass with the value of its last.
  const auto watch = [&names](int depth, json::parse_event_t event, const json& parsed) {
    if (depth == 1 && event == json::parse_event_t::key) {
      const auto& name = parsed.get_ref<const std::string&>();
      if (std::find(names.begin(), names.end(), name) != names.end()) {
        throw BadLine("member " + in_quotes(name) + " comes twice");
      }
      names.push_back(name);
    }
    return true;
  };
  try {
    json object = json::parse(text, watch);
    if (!object.is_object()) throw BadLine("not an object");
    return object;
  } catch (const json::parse_error& error) {
    throw BadLine(complaint(error));
  } catch (const json::out_of_range&) {
    throw BadLine("not JSON: a number is too large");
  }
}

}  // namespace

EventLine parse_event_line(std::string_view text) {
  const json object = parse_object(text);
  for (const auto& [name, value] : object.items()) {
    if (find_member(name) == nullptr) throw BadLine("member " + in_quotes(name) + " is not known");
  }
  EventLine line;
  line.event.entity_instance = 1;
  for (const Member& member : kMembers) {
    if (const auto found = object.find(member.name); found != object.end()) {
      member.read(*found, member.name, line);
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
