#include "intake/event_parser.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

namespace polaiga::engine {
namespace event_parser_test {

std::string complaint_about(const std::string& line) {
  try {
    parse_sensor_event(line);
  } catch (const BadLine& bad) {
    return bad.what();
  }
  return "nothing";
}

// A good line, but for what is put behind its members.
std::string with(const std::string& more) {
  return R"({"entity":"fan","sensor":"S","offset":3,"state":1,)" + more + "}";
}

TEST(SensorEvent, Defaults) {
  const SensorEvent line = parse_sensor_event(R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1})");
  EXPECT_EQ(line.entity, find_entity("fan"));
  EXPECT_STREQ(line.event.sensor_name, "FAN1_TACH1");
  EXPECT_EQ(line.event.event_offset, 3);
  EXPECT_EQ(line.event.event_state, 1);
  EXPECT_EQ(line.event.entity_instance, 1);
  EXPECT_EQ(line.event.group_instance, 0);
  EXPECT_EQ(line.event.entity_id, 29);
  EXPECT_EQ(line.event.entity_subtype, 0);
  EXPECT_EQ(line.event.reading_type, 0U);
  EXPECT_FALSE(line.time.has_value());
}

TEST(SensorEvent, EveryMember) {
  const SensorEvent line = parse_sensor_event(
      R"({"time":"2024-01-31T23:59:59Z","reading_type":4294967295,"entity_subtype":255,"entity_id":254,"group":-7,)"
      R"("instance":-2147483648,"state":2147483647,"offset":-1,"sensor":"NINETEEN_CHARACTERS","entity":"sys_board"})");
  EXPECT_EQ(line.entity, find_entity("sys_board"));
  EXPECT_STREQ(line.event.sensor_name, "NINETEEN_CHARACTERS");
  EXPECT_EQ(line.event.event_offset, -1);
  EXPECT_EQ(line.event.event_state, 2147483647);
  EXPECT_EQ(line.event.entity_instance, -2147483647 - 1);
  EXPECT_EQ(line.event.group_instance, -7);
  EXPECT_EQ(line.event.entity_id, 254);
  EXPECT_EQ(line.event.entity_subtype, 255);
  EXPECT_EQ(line.event.reading_type, 4294967295U);
  EXPECT_EQ(line.time, Moment{1706745599});
}

TEST(SensorEvent, ReadingTypeByOffset) {
  const std::pair<int, unsigned> kRows[] = {{113, 0}, {114, 1}, {115, 1}, {118, 1}, {119, 1}, {120, 0}, {0, 0}};
  for (const auto& [offset, reading_type] : kRows) {
    const std::string start = R"({"entity":"fan","sensor":"S","state":1,"offset":)" + std::to_string(offset);
    EXPECT_EQ(parse_sensor_event(start + "}").event.reading_type, reading_type) << offset;
    EXPECT_EQ(parse_sensor_event(start + R"(,"reading_type":0})").event.reading_type, 0U) << offset;
    EXPECT_EQ(parse_sensor_event(start + R"(,"reading_type":1})").event.reading_type, 1U) << offset;
  }
}

TEST(SensorEvent, NumbersAtTheirBounds) {
  EXPECT_EQ(parse_sensor_event(with(R"("group":-0)")).event.group_instance, 0);
  EXPECT_EQ(parse_sensor_event(with(R"("group":-2147483648)")).event.group_instance, -2147483647 - 1);
}

TEST(SensorEvent, TimeAsANumber) {
  EXPECT_EQ(parse_sensor_event(with(R"("time":0)")).time, Moment{0});
  EXPECT_EQ(parse_sensor_event(with(R"("time":253402300799)")).time, Moment{253402300799});
}

TEST(SensorEvent, BlanksAndEscapesAreJson) {
  const SensorEvent line = parse_sensor_event(
      "  { \"entity\" : \"f\\u0061n\", \"sensor\":\"\xC3\xA9\", \"offset\":3, "
      "\"state\":0 }\r");
  EXPECT_EQ(line.entity, find_entity("fan"));
  EXPECT_STREQ(line.event.sensor_name, "\xC3\xA9");
}

TEST(SensorEvent, WhatIsWrong) {
  const char* const kMisplaced =
      "not JSON: something is missing or out of place; check the commas, colons, brackets and quotation marks";
  const std::pair<std::string, const char*> kRows[] = {
      // Not JSON, or not an object.
      {"", kMisplaced},
      {"{", kMisplaced},
      {R"({"entity":"fan"} x)", kMisplaced},
      {R"({"entity":"fan"}{})", kMisplaced},
      {R"({"entity":"fan",})", kMisplaced},
      {R"({"entity" "fan"})", kMisplaced},
      {R"({entity:"fan"})", kMisplaced},
      {with(R"("group":7)") + std::string("\0", 1), kMisplaced},
      {"nonsense", "not JSON: a word without quotation marks is none of true, false and null"},
      {R"({"state":tru})", "not JSON: a word without quotation marks is none of true, false and null"},
      {R"({"state":FALSE})", kMisplaced},
      {R"({"state":1e999})", "not JSON: a number is malformed or too large"},
      {R"({"state":01})", "not JSON: a number is malformed or too large"},
      {R"({"state":18446744073709551616})", "not JSON: a number is malformed or too large"},
      {R"({"state":-9223372036854775809})", "not JSON: a number is malformed or too large"},
      {R"({"sensor":"A)", "not JSON: a text has no closing quotation mark"},
      {"{\"sensor\":\"A\tB\"}", "not JSON: a text has a control character that is not escaped"},
      {R"({"sensor":"A\xB"})", "not JSON: a text has a wrong escape sequence"},
      {R"({"sensor":"\uD83D"})", "not JSON: a text has a wrong escape sequence"},
      {R"({"sensor":"\uDE00"})", "not JSON: a text has a wrong escape sequence"},
      {R"({"sensor":"\uD83D\u0041"})", "not JSON: a text has a wrong escape sequence"},
      {"{\"sensor\":\"\xFF\"}", "not UTF-8"},
      {"{\"sensor\":\"\xC3\"}", "not UTF-8"},
      {"{\"sensor\":\"\xC0\x80\"}", "not UTF-8"},
      {"{\"sensor\":\"\xED\xA0\x80\"}", "not UTF-8"},
      {"[]", "not an object"},
      {"3", "not an object"},
      {"null", "not an object"},
      {R"([{"entity":"fan"}])", "not an object"},
      // Members that are missing, not known, or come twice.
      {"{}", "member 'entity' is missing"},
      {R"({"sensor":"S","offset":3,"state":1})", "member 'entity' is missing"},
      {R"({"entity":"fan","offset":3,"state":1})", "member 'sensor' is missing"},
      {R"({"entity":"fan","sensor":"S","state":1})", "member 'offset' is missing"},
      {R"({"entity":"fan","sensor":"S","offset":3})", "member 'state' is missing"},
      {with(R"("instanse":2)"), "member 'instanse' is not known"},
      {with(R"("State":2)"), "member 'State' is not known"},
      {with(R"("a\u001bb":2)"), "member 'a?b' is not known"},
      {with(R"("state":2)"), "member 'state' comes twice"},
      {with(R"("st\u0061te":2)"), "member 'state' comes twice"},
      // Entities.
      {R"({"entity":"psu","sensor":"S","offset":3,"state":1})", "entity 'psu' is not known to this build"},
      {R"({"entity":"","sensor":"S","offset":3,"state":1})", "entity '' is not known to this build"},
      {R"({"entity":3,"sensor":"S","offset":3,"state":1})", "'entity' must be a text"},
      // Sensors.
      {R"({"entity":"fan","sensor":3,"offset":3,"state":1})", "'sensor' must be a text"},
      {R"({"entity":"fan","sensor":"TWENTY_CHARACTERS_IN","offset":3,"state":1})",
       "'sensor' has 20 bytes; at most 19 fit"},
      {R"({"entity":"fan","sensor":"ééééééééééé","offset":3,"state":1})", "'sensor' has 22 bytes; at most 19 fit"},
      {R"({"entity":"fan","sensor":"A\u0000B","offset":3,"state":1})", "'sensor' contains a NUL character"},
      // Numbers.
      {R"({"entity":"fan","sensor":"S","offset":"3","state":1})", "'offset' must be an integer"},
      {R"({"entity":"fan","sensor":"S","offset":3,"state":1.0})", "'state' must be an integer"},
      {R"({"entity":"fan","sensor":"S","offset":3,"state":true})", "'state' must be an integer"},
      {R"({"entity":"fan","sensor":"S","offset":3,"state":null})", "'state' must be an integer"},
      {R"({"entity":"fan","sensor":"S","offset":3,"state":1e0})", "'state' must be an integer"},
      {R"({"entity":"fan","sensor":"S","offset":[3],"state":1})", "'offset' must be an integer"},
      {R"({"entity":"fan","sensor":{"a":1},"offset":3,"state":1})", "'sensor' must be a text"},
      {R"({"entity":"fan","sensor":"S","offset":2147483648,"state":1})",
       "'offset' is 2147483648, which is outside -2147483648 to 2147483647"},
      {R"({"entity":"fan","sensor":"S","offset":3,"state":-2147483649})",
       "'state' is -2147483649, which is outside -2147483648 to 2147483647"},
      {with(R"("instance":18446744073709551615)"),
       "'instance' is 18446744073709551615, which is outside -2147483648 to 2147483647"},
      {with(R"("group":3000000000)"), "'group' is 3000000000, which is outside -2147483648 to 2147483647"},
      {with(R"("entity_id":256)"), "'entity_id' is 256, which is outside 0 to 255"},
      {with(R"("entity_subtype":-1)"), "'entity_subtype' is -1, which is outside 0 to 255"},
      {with(R"("reading_type":4294967296)"), "'reading_type' is 4294967296, which is outside 0 to 4294967295"},
      {with(R"("reading_type":-1)"), "'reading_type' is -1, which is outside 0 to 4294967295"},
      // Times.
      {with(R"("time":-1)"), "'time' is -1, which is outside 0 to 253402300799"},
      {with(R"("time":253402300800)"), "'time' is 253402300800, which is outside 0 to 253402300799"},
      {with(R"("time":1.5)"), "'time' must be an integer"},
      {with(R"("time":"noon")"),
       "'time' is 'noon', which is not an RFC 3339 time from 1970 to 9999, such as 2025-03-12T09:12:20Z"},
      {with(R"("time":"2024-01-31 23:59:59")"),
       "'time' is '2024-01-31 23:59:59', which is not an RFC 3339 time from 1970 to 9999, such as "
       "2025-03-12T09:12:20Z"},
      {with("\"time\":\"" + std::string(50, 'x') + "\""),
       "'time' is 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...', which is not an RFC 3339 time from 1970 to 9999, such "
       "as 2025-03-12T09:12:20Z"},
      // The sender's own names.
      {with(R"("id":3)"), "'id' must be a text"},
      {with(R"("id":"")"), "'id' is empty"},
      {with("\"id\":\"" + std::string(65, 'x') + "\""), "'id' has 65 bytes; at most 64 fit"},
  };
  for (const auto& [line, complaint] : kRows) EXPECT_EQ(complaint_about(line), complaint) << line;
}

// As deep as the longest line can be nested.
TEST(SensorEvent, DeepNestingIsRefused) {
  const std::string deep(32768, '[');
  const std::string end(32768, ']');
  EXPECT_EQ(complaint_about(deep + end), "arrays or objects are nested too deeply");
  EXPECT_EQ(complaint_about(with("\"group\":" + deep + end)), "arrays or objects are nested too deeply");
  EXPECT_NE(complaint_about(std::string(65536, '[')), "nothing");
  EXPECT_NE(complaint_about(with("\"group\":" + std::string(65536, '['))), "nothing");
  EXPECT_EQ(complaint_about(with(R"("group":[[[[{"a":[]}]]]])")), "'group' must be an integer");
}

TEST(SensorEvent, AByteOrderMarkIsPassedOver) {
  EXPECT_EQ(parse_sensor_event("\xEF\xBB\xBF" + with(R"("group":7)")).event.group_instance, 7);
}

// What was read from a line outlives the next one.
TEST(SensorEvent, EventsAreApart) {
  const SensorEvent first = parse_sensor_event(with(R"("id":"first","group":1)"));
  const SensorEvent second = parse_sensor_event(with(R"("id":"later","group":2)"));
  EXPECT_EQ(first.id, "first");
  EXPECT_EQ(first.event.group_instance, 1);
  EXPECT_EQ(second.id, "later");
}

TEST(SensorEvent, TheSchemaHasTheSameMembers) {
  std::ifstream file(POLAIGA_SOURCE_DIR "/docs/schemas/event.schema.json");
  const auto schema = nlohmann::json::parse(file);
  std::set<std::string> properties;
  for (const auto& [name, value] : schema["properties"].items()) properties.insert(name);
  const std::set<std::string> required(schema["required"].begin(), schema["required"].end());

  std::set<std::string> members;
  std::set<std::string> required_members;
  for (const EventMember& member : event_members()) {
    members.emplace(member.name);
    if (member.required) required_members.emplace(member.name);
  }
  EXPECT_EQ(properties, members);
  EXPECT_EQ(required, required_members);
  EXPECT_EQ(schema["additionalProperties"], false);
}

// The bounds of the schema are those of the parser: what lies on one passes,
// what lies behind it does not.
TEST(SensorEvent, TheSchemaHasTheSameBounds) {
  std::ifstream file(POLAIGA_SOURCE_DIR "/docs/schemas/event.schema.json");
  const auto schema = nlohmann::json::parse(file);
  nlohmann::json event = {{"entity", "fan"}, {"sensor", "S"}, {"offset", 3}, {"state", 1}};
  const auto check = [&](const std::string& name, const nlohmann::json& bounds) {
    const auto complaint = [&](std::int64_t value) {
      nlohmann::json changed = event;
      changed[name] = value;
      return complaint_about(changed.dump());
    };
    const auto least = bounds.at("minimum").get<std::int64_t>();
    const auto most = bounds.at("maximum").get<std::int64_t>();
    EXPECT_EQ(complaint(least), "nothing") << name;
    EXPECT_EQ(complaint(most), "nothing") << name;
    EXPECT_NE(complaint(least - 1), "nothing") << name;
    EXPECT_NE(complaint(most + 1), "nothing") << name;
  };
  for (const char* name : {"offset", "state", "instance", "group", "entity_id", "entity_subtype", "reading_type"}) {
    check(name, schema["properties"][name]);
  }
  check("time", schema["properties"]["time"]["oneOf"][1]);
}

}  // namespace event_parser_test
}  // namespace polaiga::engine
