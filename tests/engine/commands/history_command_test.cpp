// polaiga history, on ledgers that an engine has written.
#include <nlohmann/json.hpp>

#include "support/queries.h"

namespace polaiga::engine::test {
namespace history_command_test {

using nlohmann::json;

TEST_F(Queries, History) {
  expect_answer("history " + kSupply,
                "ALARM AND ITS FAULTS             FROM                  TO                    DURATION  SEVERITY  "
                "RECORDS  ENDING\n"
                "alarm 2  sys/rack-unit-1/psu-1   2025-01-01T00:01:00Z  2025-01-01T00:06:00Z  5m        warning   "
                "         cleared\n"
                "  F0378  fltEquipmentPsuMissing  2025-01-01T00:01:00Z  2025-01-01T00:06:00Z  5m        warning   "
                "1        cleared\n");
  const std::string fan = ask("history " + kSlow).out;
  EXPECT_TRUE(contains(fan, "\nalarm 1  " + kFan + "     2025-01-01T00:00:00Z  active                "));
  EXPECT_TRUE(contains(fan,
                       "\n  F0395  fltEquipmentFanPerfThresholdNonCritical  2025-01-01T00:00:00Z  "
                       "2025-01-01T00:04:00Z  4m    "));
  EXPECT_TRUE(contains(fan, "  minor     2        superseded by F0396\n"));
  EXPECT_TRUE(contains(fan, "\n  F0396  fltEquipmentFanPerfThresholdCritical     2025-01-01T00:04:00Z  active  "));
  const std::string all = ask("history").out;
  EXPECT_LT(all.find("alarm 1"), all.find("alarm 2"));
  EXPECT_LT(all.find("alarm 2"), all.find("alarm 3"));
  const std::string last = ask("history --limit 1").out;
  EXPECT_TRUE(contains(last, "\nalarm 7  sys/rack-unit-1 "));
  EXPECT_FALSE(contains(last, "alarm 3"));
}

TEST_F(Queries, HistoryAsJson) {
  const json fan = json::parse(ask("history --json " + kSlow).out);
  EXPECT_EQ(fan["alarm"], ledger_id() + "-1");
  EXPECT_EQ(fan["dn"], kFan);
  EXPECT_EQ(fan["created"], "2025-01-01T00:00:00Z");
  EXPECT_EQ(fan["changed"], "2025-01-01T00:04:00Z");
  EXPECT_EQ(fan["severity"], "major");
  EXPECT_EQ(fan["worst"], "major");
  EXPECT_FALSE(fan.contains("ended"));
  ASSERT_EQ(fan["steps"].size(), 2U);
  const json want = {{"alarm", ledger_id() + "-1"},
                     {"fault", 1},
                     {"fault_dn", kSlow},
                     {"dn", kFan},
                     {"code", 395},
                     {"name", "fltEquipmentFanPerfThresholdNonCritical"},
                     {"severity", "minor"},
                     {"since", "2025-01-01T00:00:00Z"},
                     {"raised_seq", 1},
                     {"updated", "2025-01-01T00:03:00Z"},
                     {"shown_seq", 4},
                     {"count", 2},
                     {"reporters", 0},
                     {"ended", "2025-01-01T00:04:00Z"},
                     {"ended_seq", 5},
                     {"ending", "superseded"},
                     {"superseded_by", kSlower}};
  EXPECT_EQ(fan["steps"][0], want);
  EXPECT_EQ(fan["steps"][1]["fault"], 6);

  const json supply = json::parse(ask("history --json " + kSupply).out);
  EXPECT_EQ(supply["ended"], "2025-01-01T00:06:00Z");
  EXPECT_EQ(supply["ended_number"], 8);
  EXPECT_EQ(supply["ending"], "cleared");
}

// One riser gets worse while the other one stays: a second alarm begins. When the
// other one gets worse as well, both alarms become one.
TEST_F(RiserQueries, RelatedAndMergedAlarms) {
  write_ledger(path_, {riser(10, 1, 117, 4), riser(20, 2, 117, 4), riser(30, 1, 118, 5)});
  EXPECT_TRUE(
      contains(ask("tail --no-follow -n 2").out, "  F0410  " + kBoard + "  (partly cleared, 1 still reports it)\n"));
  EXPECT_TRUE(contains(ask("tail --no-follow -n 1").out, "  (raised, related to alarm 1)\n"));
  EXPECT_EQ(json::parse(ask("active --json --severity major").out)["alarm"], ledger_id() + "-4");

  write_ledger(path_, {riser(40, 2, 118, 5)});
  const std::string got = ask("tail --no-follow -n 3").out;
  EXPECT_TRUE(contains(got, "     5  2025-01-01T00:00:40Z  minor     F0410  " + kBoard + "  (superseded)\n"));
  EXPECT_TRUE(
      contains(got, "     6  2025-01-01T00:00:40Z  major     F0409  " + kBoard + "  (alarm 4 merged into alarm 1)\n"));
  EXPECT_TRUE(contains(got, "  (refreshed, was minor, 2 report it)\n"));
  const json active = json::parse(ask("active --json").out);
  EXPECT_EQ(active["fault_dn"], kTooHot);
  EXPECT_EQ(active["alarm"], ledger_id() + "-1");
  EXPECT_EQ(active["created"], "2025-01-01T00:00:10Z");

  const json explained = json::parse(ask("explain --json " + kTooHot).out);
  EXPECT_EQ(explained["alarm"], ledger_id() + "-1");
  EXPECT_EQ(explained["superseded"], json::array({kWarm}));

  const std::string history = ask("history").out;
  EXPECT_TRUE(contains(history, "\nalarm 1  " + kBoard + " "));
  EXPECT_TRUE(contains(history, "  2        superseded by F0409\n"));
  EXPECT_TRUE(contains(history, "\nalarm 4  " + kBoard + " "));
  EXPECT_TRUE(contains(history, "  merged into alarm 1, related to alarm 1\n"));
  EXPECT_TRUE(contains(history, "  2        goes on in alarm 1\n"));
}

}  // namespace history_command_test
}  // namespace polaiga::engine::test
