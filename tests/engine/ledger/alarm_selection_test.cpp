#include "ledger/alarm_selection.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace alarm_selection_test {

using Choose = void (*)(AlarmSelection& selection);

AlarmSelection selection(Choose choose) {
  AlarmSelection made;
  choose(made);
  return made;
}

TEST(AlarmSelectionTest, AnythingThatIsChosenCounts) {
  EXPECT_FALSE(AlarmSelection{}.is_given());
  const Choose choices[] = {
      [](AlarmSelection& of) { of.selection.under = "sys"; },
      [](AlarmSelection& of) { of.selection.least = Severity::kIndeterminate; },
      [](AlarmSelection& of) { of.selection.entity = find_entity("fan"); },
      [](AlarmSelection& of) { of.older_than = 0; },
      [](AlarmSelection& of) { of.newer_than = 0; },
      [](AlarmSelection& of) { of.state = OperatorState::kNone; },
      [](AlarmSelection& of) { of.unacknowledged = true; },
      [](AlarmSelection& of) { of.silenced = true; },
      [](AlarmSelection& of) { of.all = true; },
  };
  for (const Choose& choose : choices) EXPECT_TRUE(selection(choose).is_given()) << "choice " << &choose - choices;
}

TEST(AlarmSelectionTest, AgesAreCountedBackFromNow) {
  const Selection any = selection([](AlarmSelection& of) { of.selection.under = "sys/a"; }).at(1000);
  EXPECT_EQ(any.under, "sys/a");
  EXPECT_EQ(any.raised_by, std::nullopt);
  EXPECT_EQ(any.raised_after, std::nullopt);
  EXPECT_EQ(selection([](AlarmSelection& of) { of.older_than = 60; }).at(1000).raised_by, 940);
  EXPECT_EQ(selection([](AlarmSelection& of) { of.newer_than = 60; }).at(1000).raised_after, 940);
}

// Which of these alarms are chosen: n: nobody did anything to it, a: acknowledged, c: closed, s: shelved,
// o: acknowledged, and its object is out of service.
TEST(AlarmSelectionTest, SilencedAlarmsAreLeftOutUnlessTheyAreAskedFor) {
  ActiveRow none;
  ActiveRow acknowledged;
  acknowledged.standing.acknowledged = 1;
  ActiveRow closed;
  closed.standing.closed = 1;
  ActiveRow shelved;
  shelved.standing.shelved = 1;
  ActiveRow out_of_service = acknowledged;
  out_of_service.is_out_of_service = true;
  const auto chosen = [&](Choose choose) {
    const AlarmSelection made = selection(choose);
    std::string found;
    if (made.has(none)) found += "n";
    if (made.has(acknowledged)) found += "a";
    if (made.has(closed)) found += "c";
    if (made.has(shelved)) found += "s";
    if (made.has(out_of_service)) found += "o";
    return found;
  };
  EXPECT_EQ(chosen([](AlarmSelection&) {}), "nac");
  EXPECT_EQ(chosen([](AlarmSelection& of) { of.all = true; }), "nacso");
  EXPECT_EQ(chosen([](AlarmSelection& of) { of.silenced = true; }), "so");
  EXPECT_EQ(chosen([](AlarmSelection& of) { of.unacknowledged = true; }), "n");
  EXPECT_EQ(chosen([](AlarmSelection& of) { of.unacknowledged = of.all = true; }), "ns");
  EXPECT_EQ(chosen([](AlarmSelection& of) { of.state = OperatorState::kAcknowledged; }), "a");
  EXPECT_EQ(chosen([](AlarmSelection& of) {
              of.state = OperatorState::kAcknowledged;
              of.all = true;
            }),
            "ao");
  EXPECT_EQ(chosen([](AlarmSelection& of) { of.state = OperatorState::kClosed; }), "c");
  // Whoever asks for those that are shelved wants them.
  EXPECT_EQ(chosen([](AlarmSelection& of) { of.state = OperatorState::kShelved; }), "s");
}

}  // namespace alarm_selection_test
}  // namespace polaiga::engine
