#include "simulated/ledger.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "short_recording.h"

namespace polaiga::fleet::ledger_test {

using nlohmann::json;
using Number = engine::ChangeNumber;

const std::string kId = "0123456789abcdef0123456789abcdef";

// Makes changes of the moments 100, 101, ...
void make(SimulatedLedger& ledger, int count) {
  for (int i = 0; i < count; ++i) ledger.make(100 + i);
}

TEST(SimulatedLedgerTest, NumbersGoOnThroughTheRoundsWithoutWhatIsNotTold) {
  const Recording recording(test::short_recording());
  SimulatedLedger ledger(recording, kId, 0, 1000);
  EXPECT_EQ(ledger.number(), 0);
  EXPECT_EQ(ledger.oldest_number(), 0);
  std::vector<Number> made;
  for (int i = 0; i < 9; ++i) made.push_back(ledger.make(100 + i));
  EXPECT_EQ(made, (std::vector<Number>{1, 2, 3, 5, 6, 7, 8, 9, 10}));
  EXPECT_EQ(ledger.told_before(5), 3);
  EXPECT_EQ(ledger.told_before(1), 0);
  EXPECT_EQ(ledger.told_after(3), 5);
  EXPECT_EQ(ledger.told_after(10), 0);
  EXPECT_FALSE(ledger.is_told(4));
  EXPECT_FALSE(ledger.is_told(11)) << "4 of the second round";
}

TEST(SimulatedLedgerTest, AChangeHasTheNumbersAndTimesOfItsLedger) {
  const Recording recording(test::short_recording());
  SimulatedLedger ledger(recording, kId, 5, 1000);
  // 6, 7 of the recording, and then 1, 2, 3 of its second round.
  make(ledger, 5);
  const json change = json::parse(ledger.change_form(5) + "}");
  EXPECT_EQ(change["ledger_id"], kId);
  EXPECT_EQ(change["number"], 5);
  EXPECT_EQ(change["alarm"], kId + "-3");
  EXPECT_EQ(change["fault"], 5);
  EXPECT_EQ(change["seq"], 8) << "2 of the second round of 6 inputs";
  EXPECT_EQ(change["shown_seq"], 8);
  EXPECT_EQ(change["at"], "1970-01-01T00:01:44Z");
  EXPECT_EQ(change["event"]["seq"], 8);
  EXPECT_EQ(change["event"]["at"], "1970-01-01T00:01:44Z");
  EXPECT_FALSE(change["event"].contains("id"));
  EXPECT_EQ(change["record"]["created_time"], 104);
  EXPECT_EQ(change["record"]["descr"], "stopped");
  EXPECT_EQ(change["change"], "raised");
}

TEST(SimulatedLedgerTest, TheListHasAnAlarmAsItsLastChangeLeftIt) {
  const Recording recording(test::short_recording());
  SimulatedLedger ledger(recording, kId, 0, 1000);
  make(ledger, 3);
  ASSERT_EQ(ledger.active(), (std::map<Number, Number>{{1, 3}}));
  EXPECT_EQ(json::parse(ledger.alarm_form(1)), json::parse(R"({
      "alarm": "0123456789abcdef0123456789abcdef-1", "fault": 3, "fault_dn": "fan/F2", "dn": "fan", "code": 2,
      "name": "name of 2", "severity": "major", "created": "1970-01-01T00:01:40Z", "since": "1970-01-01T00:01:42Z",
      "updated": "1970-01-01T00:01:42Z", "count": 1, "reporters": 1, "operator_state": "none", "out_of_service": false,
      "sensor": "FAN1", "description": "stopped", "cause": "a cause", "oid": "1.2.3", "event_type": null,
      "probable_cause": null, "probable_cause_number": null})"));
  make(ledger, 1);
  EXPECT_TRUE(ledger.active().empty());
}

TEST(SimulatedLedgerTest, OnlySoManyChangesAreKept) {
  const Recording recording(test::short_recording());
  SimulatedLedger ledger(recording, kId, 0, 3);
  make(ledger, 1);
  EXPECT_EQ(ledger.oldest_number(), 1);
  make(ledger, 4);
  EXPECT_EQ(ledger.number(), 6);
  EXPECT_EQ(ledger.oldest_number(), 4);
}

}  // namespace polaiga::fleet::ledger_test
