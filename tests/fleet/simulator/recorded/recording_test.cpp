#include "recorded/recording.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "short_recording.h"

namespace polaiga::fleet::recording_test {

using test::short_recording;

TEST(RecordingTest, AlarmsThatDoNotEndAreLeftOut) {
  const Recording recording(short_recording());
  EXPECT_EQ(recording.length(), 7);
  EXPECT_EQ(recording.inputs(), 6);
  EXPECT_EQ(recording.size(), 6U);
  EXPECT_EQ(recording.find(4), nullptr) << "the alarm of the power supply is still active at the end";
  EXPECT_EQ(recording.find(8), nullptr);
  ASSERT_NE(recording.find(3), nullptr);
  EXPECT_EQ(recording.find(3)->alarm, 1);
  EXPECT_EQ(recording.find(3)->severity, "major");
  EXPECT_FALSE(recording.find(3)->is_over);
  ASSERT_NE(recording.find(5), nullptr);
  EXPECT_TRUE(recording.find(5)->is_over);
}

TEST(RecordingTest, ItCanBeginWhereNoAlarmIsActive) {
  // After 7 it begins anew, which is the same as after 0.
  EXPECT_EQ(Recording(short_recording()).beginnings(), (std::vector<engine::ChangeNumber>{0, 5}));
}

TEST(RecordingTest, AlarmsWithChangesByPeopleAreLeftOut) {
  const std::string acknowledged =
      test::line_of(
          8, "raised",
          test::kToldFlags + R"("seq":7,)" + test::alarm_id(8) +
              R"(,"fault":8,"fault_dn":"fan/F1","before":"cleared","after":"minor","shown_seq":7,"reporters":1,)" +
              test::event_of(7, "FAN1") + "," + test::record_of("fan", 1, "slow")) +
      test::line_of(
          9, "acknowledged",
          test::kToldFlags + R"("seq":8,)" + test::alarm_id(8) +
              R"(,"fault":8,"fault_dn":"fan/F1","before":"minor","after":"minor","shown_seq":7,"reporters":1,)" +
              R"("action":{"action":"acknowledge","seq":8,"person":"anna"})") +
      test::line_of(
          10, "cleared",
          test::kToldFlags + R"("seq":9,)" + test::alarm_id(8) +
              R"(,"fault":8,"fault_dn":"fan/F1","before":"minor","after":"cleared","shown_seq":7,"reporters":0,)" +
              test::event_of(9, "FAN1") + "," + test::record_of("fan", 1, "runs"));
  const Recording recording(short_recording() + acknowledged);
  EXPECT_EQ(recording.length(), 10);
  EXPECT_EQ(recording.size(), 6U);
  EXPECT_EQ(recording.find(8), nullptr);
  EXPECT_EQ(recording.find(9), nullptr);
}

TEST(RecordingTest, WhatIsNoRecordingIsRefused) {
  struct Case {
    std::string lines;
    std::string why;
  };
  const std::vector<Case> cases = {
      {"", "no alarm in it begins and ends"},
      {"{\n", "line 1: it is not JSON"},
      {"[]\n", "line 1: it is not a JSON object"},
      {"{\"number\":0}\n", "line 1: the member 'number' must be the number of a change"},
      {"{\"number\":1,\"change\":\"eaten\"}\n", "line 1: the member 'change' must be a kind of change"},
      {short_recording() + "{\"number\":7,\"change\":\"raised\"}\n",
       "line 8: its number does not go on from the line before"},
  };
  for (const Case& one : cases) {
    try {
      const Recording recording(one.lines);
      ADD_FAILURE() << "was taken: " << one.lines;
    } catch (const BadRecording& error) {
      EXPECT_EQ(error.what(), one.why);
    }
  }
}

}  // namespace polaiga::fleet::recording_test
