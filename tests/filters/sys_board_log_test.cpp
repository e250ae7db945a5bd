#include <string_view>

#include "filters/sys_board_fixture.h"

namespace polaiga::test {
namespace sys_board_log_test {

// What is remembered of the event log, as letters: L for low, V for very low, F for full.
struct Transition {
  const char* from;
  int offset;  // an event of state 1 of this offset
  std::uint32_t code;
  std::uint32_t clear_code;
  const char* words;
  const char* to;
};

const Transition kTransitions[] = {
    {"", 117, 460, 460, "capacity is low", "L"},          {"L", 117, 460, 460, "capacity is low", "L"},
    {"V", 117, 460, 460, "capacity is low", "L"},         {"F", 117, 460, 460, "capacity is low", "L"},
    {"LV", 117, 460, 460, "capacity is low", "L"},        {"LF", 117, 460, 460, "capacity is low", "L"},
    {"VF", 117, 460, 460, "capacity is low", "L"},

    {"", 118, 461, 460, "capacity is low", "L"},          {"F", 118, 461, 460, "capacity is low", "LF"},
    {"L", 118, 461, 460, "capacity is very low", "V"},    {"LF", 118, 461, 460, "capacity is very low", "VF"},
    {"V", 118, 460, 461, "capacity is low", "L"},         {"LV", 118, 460, 461, "capacity is low", "L"},
    {"VF", 118, 460, 461, "capacity is low", "LF"},

    {"", 119, 462, 461, "capacity is very low", "V"},     {"L", 119, 462, 461, "capacity is very low", "LV"},
    {"F", 119, 461, 462, "capacity is very low", "V"},    {"LF", 119, 461, 462, "capacity is very low", "LV"},
    {"V", 119, 462, 461, "is Full: Clear the log", "F"},  {"LV", 119, 462, 461, "is Full: Clear the log", "LF"},
    {"VF", 119, 462, 461, "is Full: Clear the log", "F"},
};

// Follows what is remembered of the log through a sequence of events.
class EventLogTest : public SysBoardTest {
 protected:
  // Sends an event with state 1 and checks the words of its description.
  void assert_capacity(int offset) {
    for (const Transition& line : kTransitions) {
      if (line.offset != offset || known_ != line.from) continue;
      SCOPED_TRACE(::testing::Message() << "from " << known_);
      expect(at(kLog, offset, 1), 0, of(kLog, {offset, {}, line.code, line.clear_code, 1, 218, line.words}));
      known_ = line.to;
      return;
    }
    FAIL() << "no transition from " << known_ << " by " << offset;
  }

  void deassert_low() {
    SCOPED_TRACE(::testing::Message() << "from " << known_);
    if (known_.starts_with("L")) {
      expect(at(kLog, 117, 0), 0, of(kLogCleared, {117, {}, 460, 460, 1, 218, ""}));
      known_ = "";
    } else {
      expect_untouched_codes(at(kLog, 117, 0), kLog, "SEL_FULLNESS: Cleared");
    }
  }

  // The four events that change what is remembered, by number.
  void take(int event) { event == 3 ? deassert_low() : assert_capacity(117 + event); }

  void start_anew() {
    take(0);
    take(3);
  }

  // Tries every sequence of that many events.
  template <class Act>
  void for_each_sequence(int length, Act act) {
    for (int sequence = 0; sequence < 1 << 2 * length; ++sequence) {
      if (HasFailure()) return;
      start_anew();
      for (int i = 0; i < length; ++i) act(i, sequence >> 2 * i & 3);
    }
  }

  std::string_view known_;
};

TEST_F(EventLogTest, FillsUp) {
  expect(at(kLog, 117, 1), 0, of(kLog, {117, {}, 460, 460, 1, 218, "capacity is low"}));
  expect(at(kLog, 118, 1), 0, of(kLog, {118, {}, 461, 460, 1, 218, "capacity is very low"}));
  expect(at(kLog, 119, 1), 0, of(kLog, {119, {}, 462, 461, 1, 218, "is Full: Clear the log"}));
}

TEST_F(EventLogTest, IsNotLowAfterLoading) { deassert_low(); }

TEST_F(EventLogTest, IsNotVeryLowAfterLoading) { assert_capacity(118); }

TEST_F(EventLogTest, IsNotFullAfterLoading) { assert_capacity(119); }

TEST_F(EventLogTest, EverySequence) {
  for_each_sequence(5, [this](int, int event) { take(event); });
}

TEST_F(EventLogTest, OtherEventsOfTheLogMoveNothing) {
  const struct {
    int offset;
    int state;
    std::uint32_t reading_type;
  } others[] = {
      {117, 2, 1}, {117, 4, 1}, {117, 5, 1}, {117, 6, 1}, {117, -1, 1}, {118, 0, 1}, {118, 4, 1},
      {118, 5, 1}, {118, 6, 1}, {119, 0, 1}, {119, 4, 1}, {119, 5, 1},  {119, 6, 1}, {119, 7, 1},
      {116, 1, 1}, {115, 1, 1}, {114, 1, 1}, {120, 1, 1}, {117, 1, 0},  {118, 1, 2}, {119, 1, 3},
      {117, 0, 2}, {114, 0, 1}, {115, 0, 1}, {116, 0, 1}, {120, 0, 1},  {0, 1, 1},   {373, 1, 1},
  };
  for (const auto& other : others) {
    SCOPED_TRACE(::testing::Message() << "between: " << other.offset << " " << other.state);
    for_each_sequence(3, [&](int, int event) {
      Event between = at(kLog, other.offset, other.state);
      between.reading_type = other.reading_type;
      EXPECT_EQ(send(between).result, 0);
      take(event);
    });
  }
}

TEST_F(EventLogTest, OtherSensorsMoveItToo) {
  // A voltage sensor changes what is remembered of the log; its own words and codes are those
  // of a voltage.
  expect(at(kVoltage, 117, 1), 0, of(kVoltage, {117, {}, 920, 920, 1, 218, "a preset"}));
  expect(at(kLog, 118, 1), 0, of(kLog, {118, {}, 461, 460, 1, 218, "capacity is very low"}));
  expect(at(kVoltage, 119, 1), 0, of(kVoltage, {119, {}, 918, 920, 1, 218, "a preset"}));  // full
  expect(at(kRiser, 119, 1), 0, of(kRiser, {119, {}, 409, 411, 1, 218, "a preset"}));      // very low
  expect(at(kRiser, 118, 1), 0, of(kRiser, {118, {}, 410, 409, 1, 218, "a preset"}));      // low
  expect(at(kVoltage, 118, 1), 0, of(kVoltage, {118, {}, 920, 920, 1, 218, "a preset"}));  // very low
  expect(at(kLog, 118, 1), 0, of(kLog, {118, {}, 460, 461, 1, 218, "capacity is low"}));   // low
  expect(at(kRiser, 117, 0), 0, of(kRiserCleared, {117, {}, 410, 410, 4, 218, "upper non critical"}));
  expect(at(kLog, 117, 0), 0, of(kLogCleared, {117, {}, 460, 460, 1, 218, ""}));       // was still low
  expect(at(kRiser, 118, 1), 0, of(kRiser, {118, {}, 409, 410, 1, 218, "a preset"}));  // low
  expect(at(kRiser, 118, 1), 0, of(kRiser, {118, {}, 409, 410, 1, 218, "a preset"}));  // very low
  expect(at(kRiser, 119, 1), 0, of(kRiser, {119, {}, 411, 409, 1, 218, "a preset"}));  // full
  expect_untouched_codes(at(kLog, 117, 0), kLog, "SEL_FULLNESS: Cleared");             // and stays full
  expect(at(kLog, 119, 1), 0, of(kLog, {119, {}, 461, 462, 1, 218, "capacity is very low"}));
}

}  // namespace sys_board_log_test
}  // namespace polaiga::test
