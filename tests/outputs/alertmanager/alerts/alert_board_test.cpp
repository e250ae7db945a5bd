#include "alerts/alert_board.h"

#include <gtest/gtest.h>

#include "support/alarms.h"

namespace polaiga::alertmanager {
namespace alert_board_test {

using output::OutputAlarm;
using test::slow_fan;
using test::slower_fan;

class AlertBoardTest : public testing::Test {
 protected:
  static std::string severity_of(const Alert& alert) {
    return alert.labels.find(R"("severity":"minor")") != std::string::npos ? "minor" : "major";
  }

  // As in "minor 17 active; major 17 over".
  std::string take(engine::ChangeNumber number, const OutputAlarm* alarm) {
    std::string text;
    for (const AlertTurn& turn : board_.take(number, alarm, "abc", profile_)) {
      text += (text.empty() ? "" : "; ") + severity_of(*turn.alert) + " " + std::to_string(turn.alert->alarm) +
              (turn.is_active ? " active" : " over");
    }
    return text;
  }

  std::string take(const OutputAlarm& alarm) { return take(alarm.number, &alarm); }

  AlertBoard board_{{.controller = "web1", .site = "", .page_url = ""}};
  engine::AlarmProfile profile_;
};

TEST_F(AlertBoardTest, AnAlarmBeginsAndEnds) {
  EXPECT_EQ(take(slow_fan()), "minor 17 active");
  EXPECT_EQ(take(slow_fan()), "");
  EXPECT_EQ(board_.alerts().size(), 1U);
  EXPECT_EQ(take(17, nullptr), "minor 17 over");
  EXPECT_EQ(take(17, nullptr), "");
  EXPECT_TRUE(board_.alerts().empty());
}

TEST_F(AlertBoardTest, AnotherTextIsToldAgain) {
  take(slow_fan());
  OutputAlarm alarm = slow_fan();
  alarm.description = "the fan is still slow";
  EXPECT_EQ(take(alarm), "minor 17 active");
  alarm.count = 5;  // this is not told
  EXPECT_EQ(take(alarm), "");
}

TEST_F(AlertBoardTest, AnotherSeverityBeginsOneAndEndsTheOther) {
  take(slow_fan());
  EXPECT_EQ(take(slower_fan()), "major 17 active; minor 17 over");
  EXPECT_EQ(take(17, nullptr), "major 17 over");
}

TEST_F(AlertBoardTest, ASilencedOneEndsAndSaysSo) {
  take(slow_fan());
  OutputAlarm alarm = slow_fan();
  alarm.operator_state = engine::OperatorState::kShelved;
  const auto turns = board_.take(17, &alarm, "abc", profile_);
  ASSERT_EQ(turns.size(), 1U);
  EXPECT_FALSE(turns[0].is_active);
  EXPECT_NE(turns[0].alert->annotations.find(R"("operator_state":"shelved")"), std::string::npos);
  EXPECT_EQ(take(alarm), "");
  alarm.operator_state = engine::OperatorState::kUnshelved;
  EXPECT_EQ(take(alarm), "minor 17 active");
}

TEST_F(AlertBoardTest, TheProfileDecidesWhoIsNotified) {
  profile_ = engine::AlarmProfile(
      "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n*\t**/fan-2\t-\tno\t-\t-\t-\n", "alarms.tsv");
  EXPECT_EQ(take(slow_fan(1, "sys/fan-1")), "minor 1 active");
  EXPECT_EQ(take(slow_fan(2, "sys/fan-2")), "");
  profile_ = {};
  EXPECT_EQ(take(slow_fan(2, "sys/fan-2")), "minor 2 active");
}

// As long as one of two alarms with the same labels is there, so is the alert.
TEST_F(AlertBoardTest, TwoAlarmsWithTheSameLabelsAreOneAlert) {
  take(slow_fan(17));
  EXPECT_EQ(take(slow_fan(30)), "");
  EXPECT_EQ(board_.alerts().size(), 1U);
  EXPECT_EQ(board_.alarms(), (std::vector<engine::ChangeNumber>{17, 30}));
  EXPECT_EQ(take(17, nullptr), "minor 30 active");
  EXPECT_EQ(take(30, nullptr), "minor 30 over");
  EXPECT_EQ(board_.size(), 0U);
}

TEST_F(AlertBoardTest, AnAlarmThatTakesAnothersLabelsIsOneWithIt) {
  take(slow_fan(17));
  take(slower_fan(30));
  // 30 gets better, and has the labels of 17 then.
  EXPECT_EQ(take(slow_fan(30)), "major 30 over");
  EXPECT_EQ(take(17, nullptr), "minor 30 active");
}

}  // namespace alert_board_test
}  // namespace polaiga::alertmanager
