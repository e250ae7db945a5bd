#include "compare/diff_report.h"
#include "intake/event_parser.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace polaiga::engine {
namespace diff_report_test {

using nlohmann::json;

const std::string kFile = "day.jsonl";
const SensorEvent kLine =
    parse_sensor_event(R"({"entity":"fan","sensor":"FAN1_\u0001","offset":116,"state":-3,"instance":2,"group":4})");
const PlacedEvent kEvent{kFile, 12, kLine};
const std::vector<Difference> kDifferences{
    {"code", 371, 372}, {"descr", "a\nb", "it's \xC3"}, {"reserved2", "000000", "0000ff"}};
const LibraryNames kLibraries{"old.so", "new.so"};

TEST(TextDiffReport, Event) {
  EXPECT_EQ(TextDiffReport(kLibraries).event(kEvent, kDifferences),
            "day.jsonl:12 fan FAN1_? offset 116 state -3\n"
            "  code: 371 -> 372\n"
            "  descr: 'a?b' -> 'it's ?'\n"
            "  reserved2: '000000' -> '0000ff'\n");
}

TEST(TextDiffReport, Ended) {
  const TextDiffReport report(kLibraries);
  EXPECT_EQ(report.ended(&kEvent, {std::nullopt, Ending{true, 11}}),
            "new.so ended by signal 11 (Segmentation fault) at day.jsonl:12\n");
  EXPECT_EQ(report.ended(&kEvent, {Ending{false, 3}, Ending{true, 9}}),
            "old.so ended with status 3 at day.jsonl:12\n"
            "new.so ended by signal 9 (Killed) at day.jsonl:12\n");
  EXPECT_EQ(report.ended(nullptr, {Ending{false, 1}, std::nullopt}),
            "old.so ended with status 1 after the last event\n");
}

TEST(TextDiffReport, Summary) {
  const TextDiffReport report(kLibraries);
  EXPECT_EQ(report.summary({.events = 550, .differ = 3}), "550 events, 3 differ\n");
  EXPECT_EQ(report.summary({.events = 1, .differ = 1}), "1 event, 1 differs\n");
  EXPECT_EQ(report.summary({}), "0 events, 0 differ\n");
}

TEST(JsonDiffReport, Event) {
  const std::string text = JsonDiffReport(kLibraries).event(kEvent, kDifferences);
  EXPECT_EQ(text.find('\n'), text.size() - 1);
  const json want = {{"file", "day.jsonl"},
                     {"line", 12},
                     {"event",
                      {{"entity", "fan"},
                       {"sensor", "FAN1_\x01"},
                       {"offset", 116},
                       {"state", -3},
                       {"instance", 2},
                       {"group", 4},
                       {"entity_id", 29},
                       {"entity_subtype", 0},
                       {"reading_type", 1}}},
                     {"fields",
                      {{"code", {371, 372}},
                       {"descr", {"a\nb", "it's \xEF\xBF\xBD"}},  // no whole character
                       {"reserved2", {"000000", "0000ff"}}}}};
  EXPECT_EQ(json::parse(text), want);
}

TEST(JsonDiffReport, Ended) {
  const JsonDiffReport report(kLibraries);
  const json got = json::parse(report.ended(&kEvent, {std::nullopt, Ending{true, 11}}));
  EXPECT_EQ(got["file"], "day.jsonl");
  EXPECT_EQ(got["line"], 12);
  EXPECT_EQ(got["event"]["entity"], "fan");
  EXPECT_EQ(got["ended"], json::parse(R"([null,{"signal":11}])"));
  EXPECT_EQ(report.ended(nullptr, {Ending{false, 3}, std::nullopt}), "{\"ended\":[{\"status\":3},null]}\n");
}

TEST(JsonDiffReport, Summary) {
  EXPECT_EQ(JsonDiffReport(kLibraries).summary({.events = 550, .differ = 3, .bad_lines = 2}),
            R"({"a":"old.so","b":"new.so","events":550,"differ":3,"bad_lines":2})"
            "\n");
}

}  // namespace diff_report_test
}  // namespace polaiga::engine
