// An arbitrary text of a mapping file either is refused, with a complaint that names its place, or gives every sensor
// events that the engine can take, and ladders that can be gone up and down.
#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <set>
#include <string>
#include <string_view>

#include "check.h"
#include "mapping/mapping.h"

namespace polaiga::fuzz {
namespace {

using namespace polaiga::ipmi;

const std::string kFile = "ipmi/site.tsv";

void check_target(const Target& target) {
  check(target.entity != nullptr, "a target has an entity");
  check(!target.sensor.empty() && target.sensor.size() <= 19, "a name has 1 to 19 bytes");
  check(std::ranges::all_of(target.sensor, [](char c) { return c >= ' ' && c <= '~'; }), "a name is of plain ASCII");
  check(target.instance >= 0 && target.group >= 0, "numbers are not negative");
}

bool is_state(std::int32_t state) { return state == 0 || state == 1 || (state >= 4 && state <= 6); }

void check_ladder(const Ladder& ladder) {
  check(!ladder.name.empty() && !ladder.rungs.empty() && ladder.rungs.size() <= 16, "a ladder has a name and rungs");
  const int top = static_cast<int>(ladder.rungs.size());
  std::size_t up = 0;
  std::size_t down = 0;
  for (int level = 1; level <= top; ++level) {
    const Rung& rung = ladder.rungs[static_cast<std::size_t>(level) - 1];
    check(!rung.when.empty() && !rung.up.empty(), "a rung is reached by something, and tells of it");
    up += rung.up.size();
    down += rung.down.size();
    for (const auto* steps : {&rung.up, &rung.down}) {
      check(steps->size() <= 8, "a rung sends at most eight events");
      for (const Step& step : *steps) check(step.offset >= 0 && is_state(step.state), "a step has offset and state");
    }
    for (const Condition& condition : rung.when) {
      check(condition.offset <= 15, "offsets are 0 to 15");
      const auto bit = static_cast<std::uint16_t>(1U << condition.offset);
      const Bits bits{.asserted = condition.is_bad_when_set ? bit : std::uint16_t{0},
                      .event_data_3 = condition.event_data_3,
                      .known = bit};
      check(ladder.level(bits) >= level, "what puts a sensor on a rung gives it that level at least");
    }
  }
  check(ladder.level({.asserted = 0xFFFF, .event_data_3 = 0, .known = 0}) == 0, "what is unknown is no level");
  check(ladder.steps(top, top).empty() && ladder.steps(0, 0).empty(), "to stay tells nothing");
  if (!ladder.is_choice) {
    check(ladder.steps(0, top).size() == up, "all rungs are told on the way up");
    check(ladder.steps(top, 0).size() == down, "all rungs are told on the way down");
  }
}

void check_sensor(const Mapping& mapping, const Sensor& sensor) {
  const auto found = mapping.of(sensor);
  const std::size_t line = mapping.line_of(sensor);
  check(found.empty() || found.front().line == line, "the first ladder is of the row that takes the sensor");
  std::set<std::string> names;
  for (const Mapped& one : found) {
    check(one.line >= line && line != 0, "the other rows follow it");
    check(names.insert(one.ladder->name).second, "a ladder's name is unique for a sensor");
    check_target(one.target);
    check_ladder(*one.ladder);
  }
}

}  // namespace
}  // namespace polaiga::fuzz

// The text of a file. Each of its words is also the name of a sensor, as its patterns may be.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace polaiga::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Mapping mapping;
  try {
    mapping = Mapping::parse(text, kFile);
  } catch (const polaiga::engine::TableError& error) {
    check_table_complaint(error.what(), kFile);
    return 0;
  }
  std::set<std::string_view> names{"", "FAN3_TACH1", "SAS11_HDD3 of a long name", "\xFF\x01"};
  for (std::size_t begin = 0; begin < text.size() && names.size() < 64;) {
    const std::size_t end = std::min(text.find_first_of("\t\n", begin), text.size());
    names.insert(text.substr(begin, std::min<std::size_t>(end - begin, 64)));
    begin = end + 1;
  }
  for (const std::string_view name : names) {
    for (const std::uint8_t type : std::initializer_list<std::uint8_t>{0x01, 0x04, 0x08}) {
      for (const std::uint8_t reading : std::initializer_list<std::uint8_t>{0x01, 0x6F}) {
        check_sensor(mapping, {.key = {0x20, 1, 0xFF},
                               .name = std::string(name),
                               .entity_id = 0x0A,
                               .entity_instance = 127,
                               .sensor_type = type,
                               .reading_type = reading});
      }
    }
  }
  return 0;
}
