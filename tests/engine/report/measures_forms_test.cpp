#include "report/measures_forms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <vector>

#include "base/text_width.h"

namespace polaiga::engine {
namespace measures_forms_test {

constexpr Moment kNewYear = 1735689600;  // 2025-01-01T00:00:00Z
const std::string kFan = "sys/rack-unit-1/fan-module-1-1/fan-1";
const std::string kSupply = "sys/rack-unit-1/psu-1";

Measured measured() {
  Measures measures;
  measures.active = 7;
  measures.active_by_severity = {0, 0, 1, 4, 0, 2};
  measures.active_by_state = {4, 2, 0, 1, 0};
  measures.stale = {{3, {kSupply, 378, "fltEquipmentPsuMissing"}, Severity::kWarning, kNewYear, kNewYear + 7'200}};
  measures.in_ten_minutes = 2;
  measures.in_hour = 6;
  measures.in_day = 30;
  measures.new_alarms = 96;
  measures.floods = {{kNewYear + 600, kNewYear + 1'800, 40}, {kNewYear + 86'400, std::nullopt, 11}};
  measures.chattering = {{{kFan, 395, "fltEquipmentFanNonCritical"}, 9, 31, kNewYear + 3'661}};
  measures.worst = {{{kFan, 395, "fltEquipmentFanNonCritical"}, 64}, {{kSupply, 378, "fltEquipmentPsuMissing"}, 1}};
  measures.to_clear = {3, 3'725};
  return {.measures = measures, .now = kNewYear + 2 * 86'400, .since = kNewYear, .under = ""};
}

Measured nothing() { return {.measures = {}, .now = kNewYear + 60, .since = kNewYear, .under = "sys/rack-unit-1"}; }

TEST(MeasuresText, OfAll) {
  EXPECT_EQ(measures_text(measured(), BarStyle::kAscii, std::nullopt),
            "At     2025-01-03T00:00:00Z\n"
            "Since  2025-01-01T00:00:00Z\n"
            "\n"
            "Active alarms    7\n"
            "  critical       2  ##########\n"
            "  major          0\n"
            "  minor          4  ####################\n"
            "  warning        1  #####\n"
            "  indeterminate  0\n"
            "  acknowledged   2  ##########\n"
            "  shelved        1  #####\n"
            "\n"
            "New alarms         ALARMS  IN 10 MIN\n"
            "  last 10 minutes  2       2.0        ####################\n"
            "  last hour        6       1.0        ##########\n"
            "  last day         30      0.2        ##\n"
            "  whole time       96      0.3        ###\n"
            "\n"
            "Mean time\n"
            "  to acknowledge  unknown\n"
            "  to clear        1h 2m (of 3 alarms)\n"
            "\n"
            "Floods: 2 (more than 10 new alarms in 10 minutes)\n"
            "  BEGAN                 ENDED                 ALARMS\n"
            "  2025-01-01T00:10:00Z  2025-01-01T00:30:00Z  40      ####################\n"
            "  2025-01-02T00:00:00Z  goes on               11      ######\n"
            "\n"
            "Chattering: 1 (raised again more than 5 times in 10 minutes)\n"
            "  AGAIN  RAISES  LAST                  CODE   OBJECT                                NAME\n"
            "  9      31      2025-01-01T01:01:01Z  F0395  sys/rack-unit-1/fan-module-1-1/fan-1  "
            "fltEquipmentFanNonCritical\n"
            "\n"
            "Stale: 1 (active, and no report for over a day)\n"
            "  NO REPORT FOR  CREATED               SEVERITY  CODE   OBJECT                 NAME\n"
            "  1d 22h         2025-01-01T00:00:00Z  warning   F0378  sys/rack-unit-1/psu-1  fltEquipmentPsuMissing\n"
            "\n"
            "Worst offenders: 2 (of 96 new alarms)\n"
            "  ALARMS  SHARE              CODE   OBJECT                                NAME\n"
            "  64      66.7%  ##########  F0395  sys/rack-unit-1/fan-module-1-1/fan-1  fltEquipmentFanNonCritical\n"
            "  1       1.0%   #           F0378  sys/rack-unit-1/psu-1                 fltEquipmentPsuMissing\n");
}

TEST(MeasuresText, OfNothing) {
  EXPECT_EQ(measures_text(nothing(), BarStyle::kAscii, std::nullopt),
            "At     2025-01-01T00:01:00Z\n"
            "Since  2025-01-01T00:00:00Z\n"
            "Under  sys/rack-unit-1\n"
            "\n"
            "Active alarms    0\n"
            "  critical       0\n"
            "  major          0\n"
            "  minor          0\n"
            "  warning        0\n"
            "  indeterminate  0\n"
            "\n"
            "New alarms         ALARMS  IN 10 MIN\n"
            "  last 10 minutes  0       0.0\n"
            "  last hour        0       0.0\n"
            "  last day         0       0.0\n"
            "  whole time       0       0.0\n"
            "\n"
            "Mean time\n"
            "  to acknowledge  unknown\n"
            "  to clear        unknown\n"
            "\n"
            "Floods: none (more than 10 new alarms in 10 minutes)\n"
            "\n"
            "Chattering: none (raised again more than 5 times in 10 minutes)\n"
            "\n"
            "Stale: none (active, and no report for over a day)\n"
            "\n"
            "Worst offenders: none (of 0 new alarms)\n");
}

TEST(MeasuresText, LongListsAreCut) {
  Measured long_one = measured();
  for (std::uint32_t code = 1; code <= 12; ++code) {
    const FaultOfObject fault{"o", code, "name"};
    long_one.measures.chattering.push_back({fault, 6, 7, kNewYear});
    long_one.measures.stale.push_back({code, fault, Severity::kMinor, kNewYear, kNewYear});
    long_one.measures.floods.push_back({kNewYear + 3'600 * code, kNewYear + 3'600 * code + 1'000, 12});
  }
  const std::string text = measures_text(long_one, BarStyle::kAscii, std::nullopt);
  const auto has = [&](const char* part) { return text.find(part) != std::string::npos; };
  EXPECT_TRUE(has("Floods: 14 ("));
  EXPECT_TRUE(has("\n  and 4 before them\n"));
  EXPECT_FALSE(has("2025-01-01T02:16:40Z"));  // the end of the fourth
  EXPECT_TRUE(has("2025-01-01T03:16:40Z"));
  EXPECT_TRUE(has("Chattering: 13 ("));
  EXPECT_TRUE(has("F0009  o                                     name\n  and 3 more; --json tells of all\n"));
  EXPECT_TRUE(has("Stale: 13 ("));
  EXPECT_TRUE(has("F0009  o                      name\n  and 3 more; --json tells of all\n"));
  EXPECT_FALSE(has("F0010"));
}

TEST(MeasuresText, InBlocks) {
  EXPECT_NE(measures_text(measured(), BarStyle::kBlocks, std::nullopt)
                .find("\n  warning        1  \xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\n"),
            std::string::npos);
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

TEST(MeasuresText, FitsTheTerminal) {
  for (const Measured& one : {measured(), nothing()}) {
    const std::size_t count = lines_of(measures_text(one, BarStyle::kBlocks, std::nullopt)).size();
    for (const std::size_t columns : {40U, 50U, 60U, 72U, 80U, 100U, 132U}) {
      const auto lines = lines_of(measures_text(one, BarStyle::kBlocks, columns));
      EXPECT_EQ(lines.size(), count) << columns;
      for (const std::string& line : lines) EXPECT_LE(text_width(line), columns) << line;
    }
  }
}

TEST(MeasuresText, WhatMattersMostStaysOnANarrowTerminal) {
  const auto lines = lines_of(measures_text(measured(), BarStyle::kAscii, 40));
  const auto expect_line = [&](const char* line) {
    EXPECT_NE(std::ranges::find(lines, line), lines.end()) << "no line is: " << line;
  };
  expect_line("  minor          4  ####################");
  expect_line("  last 10 minutes  2       2.0");
  expect_line("Floods: 2 (more than 10 new alarms in...");
  expect_line("  2025-01-01T00:10:00Z  40");
  expect_line("  9      31      F0395  ...ule-1-1/fan-1");
  expect_line("  1d 22h         F0378  ...-unit-1/psu-1");
  expect_line("  64      66.7%  F0395  ...ule-1-1/fan-1");
}

// Also on a terminal that obeys them.
TEST(MeasuresText, WhatATerminalWouldObeyIsNotShown) {
  Measured hostile = measured();
  hostile.under = "sys/\x1b[31m";
  for (FaultOfObject* fault :
       {&hostile.measures.chattering[0].fault, &hostile.measures.stale[0].fault, &hostile.measures.worst[0].fault}) {
    fault->dn = "o\x1b]0;x\x07";
    fault->name = "n\xE2\x80\xAE\xFF";
  }
  const std::string text = measures_text(hostile, BarStyle::kAscii, std::nullopt);
  for (const char* part : {"\x1b", "\x07", "\xE2\x80\xAE", "\xFF"}) EXPECT_EQ(text.find(part), std::string::npos);
  EXPECT_NE(text.find("Under  sys/?[31m\n"), std::string::npos) << text;
  EXPECT_NE(text.find("F0378  o?]0;x?  n??\n"), std::string::npos) << text;
}

TEST(MeasuresForm, OfAll) {
  const std::string id(32, 'a');
  EXPECT_EQ(measures_form(measured(), id).text(),
            R"({"ledger_id":"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa","at":"2025-01-03T00:00:00Z",)"
            R"("since":"2025-01-01T00:00:00Z",)"
            R"("active":{"alarms":7,"severity":{"critical":2,"major":0,"minor":4,"warning":1,"indeterminate":0},)"
            R"("operator_state":{"none":4,"acknowledged":2,"closed":0,"shelved":1,"unshelved":0}},)"
            R"("new":{"last_10_minutes":2,"last_hour":6,"last_day":30,"whole_time":96},)"
            R"("mean_time_to_acknowledge":{"alarms":0},"mean_time_to_clear":{"alarms":3,"seconds":3725},)"
            R"("floods":[{"began":"2025-01-01T00:10:00Z","ended":"2025-01-01T00:30:00Z","alarms":40},)"
            R"({"began":"2025-01-02T00:00:00Z","alarms":11}],)"
            R"("chattering":[{"dn":"sys/rack-unit-1/fan-module-1-1/fan-1","code":395,)"
            R"("name":"fltEquipmentFanNonCritical","raised_again":9,"raises":31,"last":"2025-01-01T01:01:01Z"}],)"
            R"("stale":[{"alarm":"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa-3","dn":"sys/rack-unit-1/psu-1","code":378,)"
            R"("name":"fltEquipmentPsuMissing","severity":"warning","created":"2025-01-01T00:00:00Z",)"
            R"("reported":"2025-01-01T02:00:00Z"}],)"
            R"("worst_offenders":[{"dn":"sys/rack-unit-1/fan-module-1-1/fan-1","code":395,)"
            R"("name":"fltEquipmentFanNonCritical","alarms":64,"share_permille":667},)"
            R"({"dn":"sys/rack-unit-1/psu-1","code":378,"name":"fltEquipmentPsuMissing","alarms":1,)"
            R"("share_permille":10}]})");
}

TEST(MeasuresForm, OfASubtreeWithNothing) {
  EXPECT_EQ(measures_form(nothing(), std::string(32, 'a')).text(),
            R"({"ledger_id":"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa","at":"2025-01-01T00:01:00Z",)"
            R"("since":"2025-01-01T00:00:00Z","under":"sys/rack-unit-1",)"
            R"("active":{"alarms":0,"severity":{"critical":0,"major":0,"minor":0,"warning":0,"indeterminate":0},)"
            R"("operator_state":{"none":0,"acknowledged":0,"closed":0,"shelved":0,"unshelved":0}},)"
            R"("new":{"last_10_minutes":0,"last_hour":0,"last_day":0,"whole_time":0},)"
            R"("mean_time_to_acknowledge":{"alarms":0},"mean_time_to_clear":{"alarms":0},)"
            R"("floods":[],"chattering":[],"stale":[],"worst_offenders":[]})");
}

}  // namespace measures_forms_test
}  // namespace polaiga::engine
