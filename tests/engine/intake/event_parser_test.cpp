#include "intake/event_parser.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

namespace polaiga::engine {
namespace {

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
  const std::pair<std::string, const char*> kRows[] = {
      // Not JSON, or not an object.
      {"{",
       "not JSON at byte 2: syntax error while parsing object key - unexpected end of input; expected string "
       "literal"},
      {"nonsense", "not JSON at byte 2: syntax error while parsing value - invalid literal"},
      {R"({"entity":"fan"} x)", "not JSON at byte 18: syntax error while parsing value - invalid literal"},
      {R"({"state":1e999})", "not JSON: a number is too large"},
      {"{\"sensor\":\"\xFF\"}", "not UTF-8 at byte 12"},
      {"{\"sensor\":\"\xC3\"}", "not UTF-8 at byte 13"},
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
      // Entities.
      {R"({"entity":"psu","sensor":"S","offset":3,"state":1})", "entity 'psu' is not known to this build"},
      {R"({"entity":"","sensor":"S","offset":3,"state":1})", "entity '' is not known to this build"},
      {R"({"entity":3,"sensor":"S","offset":3,"state":1})", "'entity' must be a text"},
      // Sensors.
      {R"({"entity":"fan","sensor":3,"offset":3,"state":1})", "'sensor' must be a text"},
      {R"({"entity":"fan","sensor":"TWENTY_CHARACTERS_IN","offset":3,"state":1})",
       "'sensor' has 20 bytes; at most 19 fit"},
      {R"({"entity":"fan","sensor":"ééééééééééé","offset":3,"state":1})", "'sensor' has 22 bytes; at most 19 fit"},
      {R"({"entity":"fan","sensor":"A\u0000B","offset":3,"state":1})", "'sensor' holds a NUL"},
      // Numbers.
      {R"({"entity":"fan","sensor":"S","offset":"3","state":1})", "'offset' must be an integer"},
      {R"({"entity":"fan","sensor":"S","offset":3,"state":1.0})", "'state' must be an integer"},
      {R"({"entity":"fan","sensor":"S","offset":3,"state":true})", "'state' must be an integer"},
      {R"({"entity":"fan","sensor":"S","offset":3,"state":null})", "'state' must be an integer"},
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
      {with(R"("time":"noon")"), "'time' is 'noon', which is no RFC 3339 time from 1970 to 9999"},
      {with(R"("time":"2024-01-31 23:59:59")"),
       "'time' is '2024-01-31 23:59:59', which is no RFC 3339 time from 1970 to 9999"},
      {with("\"time\":\"" + std::string(50, 'x') + "\""),
       "'time' is 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...', which is no RFC 3339 time from 1970 to 9999"},
  };
  for (const auto& [line, complaint] : kRows) EXPECT_EQ(complaint_about(line), complaint) << line;
}

TEST(SensorEvent, DeepNestingIsJustALineAmiss) {
  EXPECT_EQ(complaint_about(with("\"state\":" + std::string(30000, '[') + std::string(30000, ']'))),
            "member 'state' comes twice");
  EXPECT_EQ(complaint_about(std::string(60000, '[')).substr(0, 8), "not JSON");
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

}  // namespace
}  // namespace polaiga::engine
