#include "follow/state_text.h"

#include <zlib.h>

#include <array>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "model/entities.h"

namespace polaiga::ipmi {
namespace {

using Json = nlohmann::json;

constexpr int kVersion = 1;
constexpr std::string_view kChecksum = "crc32 ";
constexpr std::size_t kDigits = 8;

int digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  throw BadState("a byte is not written in hexadecimal digits");
}

template <std::size_t N>
std::array<std::uint8_t, N> bytes_from(const Json& json) {
  const auto& text = json.get_ref<const std::string&>();
  if (text.size() != 2 * N) throw BadState("a row of bytes has a wrong length");
  std::array<std::uint8_t, N> bytes{};
  for (std::size_t i = 0; i < N; ++i) {
    bytes[i] = static_cast<std::uint8_t>(digit(text[2 * i]) * 16 + digit(text[2 * i + 1]));
  }
  return bytes;
}

// A number that does not fit its place would be another one there.
template <class T>
T number_from(const Json& json) {
  if (!json.is_number_integer()) throw BadState("a member is not a whole number");
  if (json.is_number_unsigned() ? !std::in_range<T>(json.get<std::uint64_t>())
                                : !std::in_range<T>(json.get<std::int64_t>())) {
    throw BadState("a number is too large");
  }
  return json.get<T>();
}

Json to_json(const KnownBits& bits) {
  Json data = Json::array();
  for (const auto& [offset, value] : bits.data_3) data.push_back({offset, value});
  return {bits.asserted, bits.known, data};
}

KnownBits known_bits_from(const Json& json) {
  KnownBits bits{.asserted = number_from<std::uint16_t>(json.at(0)),
                 .known = number_from<std::uint16_t>(json.at(1)),
                 .data_3 = {}};
  for (const Json& pair : json.at(2)) {
    bits.data_3[number_from<std::uint8_t>(pair.at(0))] = number_from<std::uint8_t>(pair.at(1));
  }
  return bits;
}

Json to_json(const SensorId& id) { return {id.key.owner, id.key.lun, id.key.number, id.reading_type}; }

SensorId sensor_id_from(const Json& json) {
  return {.key = {.owner = number_from<std::uint8_t>(json.at(0)),
                  .lun = number_from<std::uint8_t>(json.at(1)),
                  .number = number_from<std::uint8_t>(json.at(2))},
          .reading_type = number_from<std::uint8_t>(json.at(3))};
}

Json to_json(const ReadRecord& record) { return {record.id, hexadecimal(record.bytes)}; }

ReadRecord read_record_from(const Json& json) {
  return {.id = number_from<std::uint16_t>(json.at(0)), .bytes = bytes_from<16>(json.at(1))};
}

Json to_json(const Position& position) {
  Json trail = Json::array();
  for (const ReadRecord& record : position.trail) trail.push_back(to_json(record));
  Json json = {{"epoch", position.epoch}, {"trail", trail}, {"erased", position.erased}};
  if (position.wants_new_epoch) json["wants_new_epoch"] = true;
  if (position.cut_at) json["cut_at"] = to_json(*position.cut_at);
  return json;
}

Position position_from(const Json& json) {
  Position position{.epoch = number_from<std::uint64_t>(json.at("epoch")),
                    .wants_new_epoch = json.value("wants_new_epoch", false),
                    .trail = {},
                    .erased = number_from<std::uint32_t>(json.at("erased")),
                    .cut_at = {}};
  for (const Json& record : json.at("trail")) {
    position.trail.push_back(read_record_from(record));
  }
  if (json.contains("cut_at")) position.cut_at = read_record_from(json.at("cut_at"));
  return position;
}

Json to_json(const Target& target) {
  return {target.entity->name, target.sensor, target.instance, target.group, target.entity_id};
}

Target target_from(const Json& json) {
  Target target{.entity = engine::find_entity(json.at(0).get_ref<const std::string&>()),
                .sensor = json.at(1).get<std::string>(),
                .instance = number_from<std::int32_t>(json.at(2)),
                .group = number_from<std::int32_t>(json.at(3)),
                .entity_id = number_from<std::uint8_t>(json.at(4))};
  if (target.entity == nullptr) throw BadState("an entity is not known to this build");
  return target;
}

Json to_json(const LadderId& id, const Delivered& delivered) {
  Json down = Json::array();
  for (const Step& step : delivered.down) down.push_back({step.offset, step.state});
  Json json = {to_json(id.sensor), id.place, delivered.level, to_json(delivered.target), down};
  if (delivered.tells_presence) json.push_back(true);
  return json;
}

void add_delivered(const Json& json, State& state) {
  Delivered delivered{.target = target_from(json.at(3)), .level = number_from<int>(json.at(2)), .down = {}};
  if (delivered.level < 0) throw BadState("a level is negative");
  if (json.size() > 5) delivered.tells_presence = json.at(5).get<bool>();
  for (const Json& step : json.at(4)) {
    delivered.down.push_back({number_from<std::int32_t>(step.at(0)), number_from<std::int32_t>(step.at(1))});
  }
  state.delivered[{sensor_id_from(json.at(0)), json.at(1).get<std::string>()}] = std::move(delivered);
}

Json to_json(const SensorId& id, const SensorMemory& memory) {
  Json json = {to_json(id), to_json(memory.state), to_json(memory.records)};
  if (memory.undescribed_type) json.push_back(*memory.undescribed_type);
  return json;
}

void add_memory(const Json& json, State& state) {
  SensorMemory memory{
      .state = known_bits_from(json.at(1)), .records = known_bits_from(json.at(2)), .undescribed_type = {}};
  if (json.size() > 3) memory.undescribed_type = number_from<std::uint8_t>(json.at(3));
  state.memory[sensor_id_from(json.at(0))] = std::move(memory);
}

std::string checksum(std::string_view text) {
  const auto sum = ::crc32_z(0, reinterpret_cast<const unsigned char*>(text.data()), text.size());
  std::string digits(kDigits, '0');
  auto rest = sum;
  for (std::size_t i = kDigits; i-- > 0; rest >>= 4U) digits[i] = "0123456789abcdef"[rest & 15U];
  return digits;
}

// Takes the checksum's line off the end.
std::string_view checked(std::string_view text) {
  const std::size_t tail = kChecksum.size() + kDigits + 1;
  if (text.size() < tail || !text.ends_with('\n')) throw BadState("its end is missing");
  const std::string_view lines = text.substr(0, text.size() - tail);
  if (text.substr(lines.size()) != std::string(kChecksum) + checksum(lines) + "\n") {
    throw BadState("its checksum is wrong");
  }
  return lines;
}

State state_from(const Json& json) {
  if (number_from<int>(json.at("version")) != kVersion) throw BadState("it is of another version of the program");
  State state;
  if (json.contains("guid")) state.guid = bytes_from<16>(json.at("guid"));
  state.position = position_from(json.at("position"));
  state.readings = number_from<std::uint64_t>(json.at("readings"));
  state.log_wraps = json.at("log_wraps").get<bool>();
  for (const Json& memory : json.at("memory")) add_memory(memory, state);
  for (const Json& delivered : json.at("delivered")) add_delivered(delivered, state);
  return state;
}

}  // namespace

std::string state_text(const State& state) {
  Json json = {{"version", kVersion},        {"position", to_json(state.position)},
               {"readings", state.readings}, {"log_wraps", state.log_wraps},
               {"memory", Json::array()},    {"delivered", Json::array()}};
  if (state.guid) json["guid"] = hexadecimal(*state.guid);
  for (const auto& [id, memory] : state.memory) json["memory"].push_back(to_json(id, memory));
  for (const auto& [id, delivered] : state.delivered) json["delivered"].push_back(to_json(id, delivered));
  // Names of sensors may have any bytes.
  std::string text = json.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
  for (const std::string& line : state.pending) text += line + "\n";
  return text + std::string(kChecksum) + checksum(text) + "\n";
}

State parse_state(std::string_view text) {
  std::string_view rest = checked(text);
  const auto take_line = [&rest] {
    const std::size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return line;
  };
  State state;
  try {
    state = state_from(Json::parse(take_line()));
  } catch (const Json::exception&) {
    throw BadState("it is not the state of this program");
  }
  while (!rest.empty()) state.pending.emplace_back(take_line());
  return state;
}

}  // namespace polaiga::ipmi
