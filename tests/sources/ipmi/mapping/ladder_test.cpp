#include "mapping/ladder.h"

#include <gtest/gtest.h>

namespace polaiga::ipmi {
namespace ladder_test {

using Steps = std::vector<Step>;

constexpr std::uint16_t bit(int offset) { return static_cast<std::uint16_t>(1U << offset); }

// Three rungs, as of an upper threshold.
const Ladder kUpper{
    .name = "upper",
    .rungs = {
        {{{7}}, {{117, 4}}, {{117, 0}}}, {{{9}}, {{118, 5}}, {{118, 4}}}, {{{11}}, {{119, 6}}, {{119, 5}, {1, 0}}}}};

TEST(LadderTest, TheHighestRungIsTheLevel) {
  EXPECT_EQ(kUpper.level({}), 0);
  EXPECT_EQ(kUpper.level({.asserted = bit(7)}), 1);
  EXPECT_EQ(kUpper.level({.asserted = bit(7) | bit(9)}), 2);
  EXPECT_EQ(kUpper.level({.asserted = bit(9)}), 2);
  // Deassertions do not come in order of level.
  EXPECT_EQ(kUpper.level({.asserted = bit(7) | bit(11)}), 3);
  EXPECT_EQ(kUpper.level({.asserted = bit(0) | bit(2) | bit(4)}), 0);
}

TEST(LadderTest, StepsGoRungByRung) {
  EXPECT_EQ(kUpper.steps(0, 0), Steps{});
  EXPECT_EQ(kUpper.steps(2, 2), Steps{});
  EXPECT_EQ(kUpper.steps(0, 1), (Steps{{117, 4}}));
  EXPECT_EQ(kUpper.steps(0, 3), (Steps{{117, 4}, {118, 5}, {119, 6}}));
  EXPECT_EQ(kUpper.steps(3, 2), (Steps{{119, 5}, {1, 0}}));
  EXPECT_EQ(kUpper.steps(3, 0), (Steps{{119, 5}, {1, 0}, {118, 4}, {117, 0}}));
}

TEST(LadderTest, OfAChoiceOnlyTheHighestRungIsSent) {
  const Ladder choice{
      .name = "choice",
      .is_choice = true,
      .rungs = {{{{5}}, {{34, 1}}, {{34, 0}}}, {{{4}}, {{33, 1}}, {{33, 0}}}, {{{3}}, {{32, 1}}, {{32, 0}}}}};
  EXPECT_EQ(choice.steps(1, 1), Steps{});
  EXPECT_EQ(choice.steps(0, 3), (Steps{{32, 1}}));
  EXPECT_EQ(choice.steps(1, 3), (Steps{{32, 1}}));
  EXPECT_EQ(choice.steps(3, 1), (Steps{{34, 1}}));
  EXPECT_EQ(choice.steps(3, 0), (Steps{{32, 0}}));
}

TEST(LadderTest, ARungMayBeForWhatIsNotSet) {
  const Ladder missing{.name = "missing", .rungs = {{{{.offset = 0, .is_bad_when_set = false}}, {{30, 1}}, {{30, 0}}}}};
  EXPECT_EQ(missing.level({.asserted = bit(0)}), 0);
  EXPECT_EQ(missing.level({.asserted = bit(1)}), 1);
  EXPECT_EQ(missing.level({}), 1);
  // Nothing has told of the offset yet.
  EXPECT_EQ(missing.level({.asserted = 0, .known = 0}), 0);
  EXPECT_EQ(missing.level({.asserted = 0, .known = bit(1)}), 0);
  EXPECT_EQ(missing.level({.asserted = 0, .known = bit(0)}), 1);
}

TEST(LadderTest, ARungMayBeForSeveralOffsetsAndForEventData3) {
  const Ladder several{.name = "several", .rungs = {{{{2}, {6}, {7}}, {{62, 1}}, {{62, 0}}}}};
  for (const int offset : {2, 6, 7}) EXPECT_EQ(several.level({.asserted = bit(offset)}), 1) << offset;
  EXPECT_EQ(several.level({.asserted = bit(1) | bit(5)}), 0);

  const Ladder by_data{.name = "by-data",
                       .rungs = {{{{6}}, {{40, 1}}, {{40, 0}}},
                                 {{{6, true, std::uint8_t{0}}}, {{35, 1}}, {{35, 0}}},
                                 {{{6, true, std::uint8_t{4}}}, {{39, 1}}, {{39, 0}}}}};
  EXPECT_EQ(by_data.level({.asserted = bit(6)}), 1);
  EXPECT_EQ(by_data.level({.asserted = bit(6), .event_data_3 = std::uint8_t{0xFF}}), 1);
  EXPECT_EQ(by_data.level({.asserted = bit(6), .event_data_3 = std::uint8_t{0}}), 2);
  EXPECT_EQ(by_data.level({.asserted = bit(6), .event_data_3 = std::uint8_t{4}}), 3);
  EXPECT_EQ(by_data.level({.asserted = 0, .event_data_3 = std::uint8_t{4}}), 0);
}

}  // namespace ladder_test
}  // namespace polaiga::ipmi
