#include "explore/catalog_forms.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace polaiga::engine {
namespace catalog_forms_test {

Events discrete(std::int32_t first, std::int32_t last, std::initializer_list<std::int32_t> states) {
  Events events;
  for (std::int32_t offset = first; offset <= last; ++offset) {
    for (const std::int32_t state : states) events[{false, offset, state}] = 1;
  }
  return events;
}

Events operator+(Events events, const Events& others) {
  events.insert(others.begin(), others.end());
  return events;
}

Events threshold(std::int32_t offset, std::int32_t state, Memories memories) {
  return {{{true, offset, state}, memories}};
}

TEST(BriefEvents, StatesAndRanges) {
  EXPECT_EQ(brief_events({}, 1), "");
  EXPECT_EQ(brief_events(discrete(57, 57, {4}), 1), "57: 4");
  EXPECT_EQ(brief_events(discrete(57, 57, {1, 4, 5, 6}), 1), "57: 1, 4, 5, 6");
  EXPECT_EQ(brief_events(discrete(57, 57, {1, 2, 3, 4, 5, 6, 7}), 1), "57: any but 0");
  EXPECT_EQ(brief_events(discrete(57, 57, {1, 2, 3, 5, 6}), 1), "57: any but 0, 4, 7");
  EXPECT_EQ(brief_events(discrete(57, 57, {0, 1, 2, 3, 4, 5, 6, 7}), 1), "57: any");
  EXPECT_EQ(brief_events(discrete(1, 3, {0}) + discrete(5, 5, {0}) + discrete(6, 6, {1}), 1), "1-3, 5: 0; 6: 1");
}

TEST(BriefEvents, AnyOffset) {
  const Events all = discrete(-1, 255, {0}) + discrete(880, 1024, {0});
  EXPECT_EQ(brief_events(all, 1), "any: 0");
  Events but = all;
  for (std::int32_t offset = 114; offset <= 119; ++offset) but.erase({false, offset, 0});
  EXPECT_EQ(brief_events(but, 1), "any but 114-119: 0");
  but.erase({false, 1024, 0});
  EXPECT_EQ(brief_events(but, 1), "-1-113, 120-255, 880-1023: 0");
}

TEST(BriefEvents, Readings) {
  EXPECT_EQ(brief_events(discrete(5, 5, {0}) + threshold(5, 0, 1), 1), "5: 0");
  EXPECT_EQ(brief_events(threshold(5, 0, 1), 1), "threshold 5: 0");
  EXPECT_EQ(brief_events(discrete(5, 6, {0}) + threshold(5, 0, 1), 1), "threshold 5: 0; discrete 5-6: 0");
}

TEST(BriefEvents, Memories) {
  EXPECT_EQ(brief_events(threshold(117, 1, 0b1111), 4), "threshold 117: 1");
  EXPECT_EQ(brief_events(threshold(117, 1, 0b0001), 4), "threshold 117: 1 (log not low)");
  EXPECT_EQ(brief_events(threshold(117, 1, 0b1010) + threshold(118, 4, 0b1111), 4),
            "threshold 118: 4; threshold 117: 1 (log low or log full)");
}

TEST(BriefTexts, WhatDiffersStandsInBraces) {
  const auto brief = [](std::initializer_list<const char*> texts) {
    std::map<std::string, Events> map;
    for (const char* text : texts) map[text] = {};
    return brief_texts(map);
  };
  using Texts = std::vector<std::string>;
  EXPECT_EQ(brief({}), Texts());
  EXPECT_EQ(brief({"S: one: do"}), Texts{"S: one: do"});
  EXPECT_EQ(brief({"S: it is lower low: do", "S: it is upper low: do"}), Texts{"S: it is {lower / upper} low: do"});
  EXPECT_EQ(brief({"S: it is : do", "S: it is high: do"}), Texts{"S: it is {(none) / high}: do"});
  EXPECT_EQ(brief({"S: it is bad: do", "S: it is : Cleared", "S: it is bad: Cleared"}),
            (Texts{"S: it is bad: do", "S: it is {(none) / bad}: Cleared"}));
}

const FoundFilter kFilter{.entity = "fan",
                          .memories = 1,
                          .faults = {{.code = 95,
                                      .name = "fltName",
                                      .cause = "thermal-problem",
                                      .cause_id = 215,
                                      .severity = Severity::kMinor,
                                      .reported = true,
                                      .behaviours = {{.sensors = {"SENSOR"},
                                                      .objects = {{"sys/fan-7", "1.3.6"}},
                                                      .raises = discrete(3, 3, {1}),
                                                      .clears = discrete(3, 3, {0}),
                                                      .supersedes = {{96, discrete(3, 3, {1})}},
                                                      .superseded_by = {{97, discrete(4, 4, {1})}},
                                                      .raise_texts = {{"SENSOR: slow", discrete(3, 3, {1})}},
                                                      .clear_texts = {{"SENSOR: Cleared", discrete(3, 3, {0})}}}}}}};

TEST(CatalogForms, Text) {
  EXPECT_EQ(catalog_as_text({&kFilter, 1}),
            "fan\n"
            "\n"
            "  F0095  fltName  minor  thermal-problem  1.3.6\n"
            "    environmentalAlarm, temperatureUnacceptable (548)\n"
            "    raised                3: 1\n"
            "    supersedes F0096      3: 1\n"
            "    cleared               3: 0\n"
            "    superseded by F0097   4: 1\n"
            "      sys/fan-7  (SENSOR)\n"
            "        SENSOR: slow\n"
            "        SENSOR: Cleared\n"
            "\n"
            "1 fault of 1 filter\n");
}

TEST(CatalogForms, Json) {
  const auto got = nlohmann::json::parse(catalog_as_json({&kFilter, 1}));
  const auto want = nlohmann::json::parse(R"({
    "filter": "fan", "code": 95, "name": "fltName", "severity": "minor", "cause_id": 215, "cause": "thermal-problem",
    "event_type": "environmentalAlarm", "probable_cause": "temperatureUnacceptable", "probable_cause_number": 548,
    "reported": true, "behaviours": [{
      "sensors": ["SENSOR"], "objects": [{"dn": "sys/fan-7", "oid": "1.3.6"}],
      "raised_by": [{"events": "3: 1", "descr": "SENSOR: slow"}],
      "cleared_by": [{"events": "3: 0", "descr": "SENSOR: Cleared"}],
      "supersedes": [{"code": 96, "events": "3: 1"}], "superseded_by": [{"code": 97, "events": "4: 1"}]}]})");
  EXPECT_EQ(got, want);
}

// A record may carry the cause's text alone, and a host table may bring a cause
// that the dictionary does not know.
TEST(CatalogForms, CausesWithoutANumberOrADictionaryEntry) {
  FoundFilter filter = kFilter;
  FoundFault& fault = filter.faults[0];
  fault.cause_id = 0;
  EXPECT_NE(catalog_as_text({&filter, 1}).find("\n    environmentalAlarm, temperatureUnacceptable (548)\n"),
            std::string::npos);
  fault.cause = "weather";
  EXPECT_EQ(catalog_as_text({&filter, 1}).find("Alarm"), std::string::npos);
  const auto line = nlohmann::json::parse(catalog_as_json({&filter, 1}));
  for (const char* member : {"event_type", "probable_cause", "probable_cause_number"}) {
    EXPECT_TRUE(line.at(member).is_null()) << member;
  }
}

TEST(CatalogForms, Markdown) {
  const std::string got = catalog_as_markdown({&kFilter, 1});
  EXPECT_EQ(got.substr(0, 9), "# Faults\n");
  EXPECT_NE(got.find("| [fan](#fan) | `process_fan_fault` | 1 |\n"), std::string::npos);
  EXPECT_EQ(got.substr(got.find("\n## fan")),
            "\n## fan\n"
            "\n"
            "| code | name | severity | cause |\n"
            "| --- | --- | --- | --- |\n"
            "| F0095 | fltName | minor | thermal-problem |\n"
            "\n"
            "### F0095 fltName\n"
            "\n"
            "minor, thermal-problem (215), `1.3.6`\n"
            "\n"
            "environmentalAlarm, temperatureUnacceptable (548)\n"
            "\n"
            "- raised: `3: 1`\n"
            "- supersedes F0096: `3: 1`\n"
            "- cleared: `3: 0`\n"
            "- superseded by F0097: `4: 1`\n"
            "\n"
            "| object | sensors | raised as | cleared as |\n"
            "| --- | --- | --- | --- |\n"
            "| `sys/fan-7` | `SENSOR` | `SENSOR: slow` | `SENSOR: Cleared` |\n");
}

}  // namespace catalog_forms_test
}  // namespace polaiga::engine
