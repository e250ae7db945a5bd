#include "report/table.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace table_test {

const std::string kRed = "\x1b[31mred\x1b[0m";
const std::string kMiddle = "\xE4\xB8\xAD";  // U+4E2D, two columns

TEST(Aligned, Columns) {
  EXPECT_EQ(aligned({{"A", "LONG", "C"}, {kRed, "x", ""}, {"", "", "last"}}), "A    LONG  C\n" + kRed +
                                                                                  "  x\n"
                                                                                  "           last\n");
  EXPECT_EQ(aligned({}), "");
}

TEST(Aligned, InColumnsOfTheTerminal) {
  EXPECT_EQ(aligned({{"caf\xC3\xA9", "x"}, {kMiddle + kMiddle, "y"}, {"abcd", "z"}}),
            "caf\xC3\xA9  x\n" + kMiddle + kMiddle + "  y\nabcd  z\n");
}

const Rows kRows{{"NAME", "STATE", "NOTE"}, {"sys/a/b-1", "on", "It is all right"}, {"sys/c", "off", "-"}};

TEST(Aligned, WhatFitsStays) {
  const std::string whole =
      "NAME       STATE  NOTE\n"
      "sys/a/b-1  on     It is all right\n"
      "sys/c      off    -\n";
  EXPECT_EQ(aligned(kRows), whole);
  EXPECT_EQ(aligned(kRows, {.room = 33, .giving_way = {{2, 4}}}), whole);
  EXPECT_EQ(aligned(kRows, {.room = 200, .giving_way = {{2, 4}}}), whole);
  EXPECT_EQ(aligned(kRows, {.room = std::nullopt, .giving_way = {{2, 4}}}), whole);
}

TEST(Aligned, ColumnsGiveWayInTurn) {
  const Fit fit{.room = 32, .giving_way = {{2, 8}, {0, 7, true}, {1, 0}, {0, 4, true}}};
  EXPECT_EQ(aligned(kRows, fit),
            "NAME       STATE  NOTE\n"
            "sys/a/b-1  on     It is all r...\n"
            "sys/c      off    -\n");
  Fit narrow = fit;
  narrow.room = 24;
  EXPECT_EQ(aligned(kRows, narrow),
            "NAME     STATE  NOTE\n"
            ".../b-1  on     It is...\n"
            "sys/c    off    -\n");
  narrow.room = 22;  // the state leaves, so the name can be whole again
  EXPECT_EQ(aligned(kRows, narrow),
            "NAME       NOTE\n"
            "sys/a/b-1  It is al...\n"
            "sys/c      -\n");
  narrow.room = 14;
  EXPECT_EQ(aligned(kRows, narrow),
            "NAME  NOTE\n"
            "...1  It is...\n"
            "...c  -\n");
  narrow.room = 5;  // there is no more to take
  EXPECT_EQ(aligned(kRows, narrow),
            "NAME  NOTE\n"
            "...1  It is...\n"
            "...c  -\n");
}

const LineEnd kEnd{.object = "sys/rack-unit-1/fan-1",      // 21
                   .description = "FAN1: It is too slow",  // 20
                   .remark = "raised"};                    // 8 with its brackets

std::string added(const LineEnd& end, Room room) {
  std::string line = "12 major  ";
  add_fitted(line, end, room);
  return line;
}

TEST(AddFitted, WithoutALimitAllIsWhole) {
  const std::string whole = "12 major  sys/rack-unit-1/fan-1  FAN1: It is too slow  (raised)\n";
  EXPECT_EQ(added(kEnd, std::nullopt), whole);
  EXPECT_EQ(added(kEnd, 63), whole);
  EXPECT_EQ(added({"sys/a", "", "cleared"}, std::nullopt), "12 major  sys/a  (cleared)\n");
}

TEST(AddFitted, TheDescriptionGivesWayFirst) {
  const std::pair<std::size_t, std::string> kCases[] = {
      {62, "sys/rack-unit-1/fan-1  FAN1: It is too ...  (raised)"},
      {55, "sys/rack-unit-1/fan-1  FAN1: It ...  (raised)"},
      {54, "sys/rack-unit-1/fan-1  (raised)"},  // little would be left of the description
      {41, "sys/rack-unit-1/fan-1  (raised)"},
      {40, "...rack-unit-1/fan-1  (raised)"},
      {32, "...t-1/fan-1  (raised)"},
      {31, "...t-1/fan-1  (rai..."},
      {25, "...t-1/fan-1..."},
      {22, "...t-1/fan-1"},
      {5, "...t-1/fan-1"},  // there is no more to take
  };
  for (const auto& [room, rest] : kCases) EXPECT_EQ(added(kEnd, room), "12 major  " + rest + "\n") << room;
}

TEST(AddFitted, AShortDescriptionIsWholeOrNotThere) {
  EXPECT_EQ(added({"sys/a", "hot", "raised"}, 30), "12 major  sys/a  hot  (raised)\n");
  EXPECT_EQ(added({"sys/a", "hot", "raised"}, 29), "12 major  sys/a  (raised)\n");
}

TEST(AddFitted, ColoursTakeNoRoom) {
  std::string line = kRed + " ";
  add_fitted(line, {"sys/a", "hot", "raised"}, 24);
  EXPECT_EQ(line, kRed + " sys/a  hot  (raised)\n");
}

}  // namespace table_test
}  // namespace polaiga::engine
