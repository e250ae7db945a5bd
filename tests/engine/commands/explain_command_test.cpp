// polaiga explain, on ledgers that an engine has written.
#include <nlohmann/json.hpp>

#include "support/queries.h"

namespace polaiga::engine::test {
namespace explain_command_test {

using nlohmann::json;

TEST_F(Queries, ExplainAThreshold) {
  const std::string id = ledger_id() + "-1";
  const std::string got = ask("explain " + kSlower).out;
  const std::size_t library = got.find("  library        ");
  ASSERT_NE(library, std::string::npos);
  EXPECT_EQ(got.substr(0, library),
            kSlower +
                "\nactive since 2025-01-01T00:04:00Z, reported by 1\n"
                "\nThe alarm\n"
                "  id             " +
                id +
                "\n"
                "  object         sys/rack-unit-1/fan-module-1-1/fan-1\n"
                "  created        2025-01-01T00:00:00Z\n"
                "  last changed   2025-01-01T00:04:00Z\n"
                "  severity       major\n"
                "  worst          major\n"
                "  state          active\n"
                "\nIts faults\n"
                "  2025-01-01T00:00:00Z  2025-01-01T00:04:00Z  minor  F0395  fltEquipmentFanPerfThresholdNonCritical  "
                "superseded by F0396\n"
                "  2025-01-01T00:04:00Z  active                major  F0396  fltEquipmentFanPerfThresholdCritical\n"
                "\nIts changes\n"
                "  1  2025-01-01T00:00:00Z  F0395  raised\n"
                "  4  2025-01-01T00:03:00Z  F0395  refreshed\n"
                "  5  2025-01-01T00:04:00Z  F0395  superseded\n"
                "  6  2025-01-01T00:04:00Z  F0396  raised, alarm 1 goes on\n"
                "\nWho reports it\n"
                "  fan FAN1_TACH1, instance 1, since event 5 at 2025-01-01T00:04:00Z, 1 record\n"
                "    " +
                kSlowerText +
                "\n"
                "\nRaised by event 5\n"
                "  received       2025-01-01T00:04:00Z\n"
                "  entity         fan\n"
                "  sensor         FAN1_TACH1\n"
                "  instance       1\n"
                "  offset         4\n"
                "  state          5\n");
  const std::size_t record = got.find("\nWhat the record said\n");
  ASSERT_NE(record, std::string::npos);
  EXPECT_EQ(got.substr(record),
            "\nWhat the record said\n"
            "  code           F0396\n"
            "  name           fltEquipmentFanPerfThresholdCritical\n"
            "  severity       major\n"
            "  cause          performance-problem\n"
            "  event type     qualityOfServiceAlarm\n"
            "  probable cause performanceDegraded (532)\n"
            "  description    " +
                kSlowerText +
                "\n"
                "\nWhat came of it\n"
                "  superseded     sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395\n"
                "  refreshed      never\n"
                "  ended          not yet\n"
                "\nThe rule, as OFFSETS: STATES\n"
                "  filter         fan\n"
                "  raised by      4: any but 4; 5: 5\n"
                "\nWhat ends it, as OFFSETS: STATES of FAN1_TACH1\n"
                "  cleared by     No event clears it.\n"
                "  superseded by  F0395 fltEquipmentFanPerfThresholdNonCritical, raised by 4: 4\n"
                "  superseded by  F0397 fltEquipmentFanPerfThresholdNonRecoverable, raised by 5: any but 5\n");
}

// Which build of the library made the record.
TEST_F(Queries, ExplainTellsTheLibrary) {
  const json library = json::parse(ask("explain --json " + kSlower).out)["raise"]["library"];
  EXPECT_EQ(library["version"], POLAIGA_VERSION);
  const std::string note = shell_.run("readelf -n '" POLAIGA_LIBRARY "' | sed -n 's/ *Build ID: //p'").out;
  EXPECT_EQ(library["build_id"], note.substr(0, note.find('\n')));
  const std::string id = library["build_id"];
  EXPECT_TRUE(contains(ask("explain " + kSlower).out,
                       "\n  library        " POLAIGA_VERSION + (id.empty() ? "" : ", build id " + id) + "\n"));
}

TEST_F(Queries, ExplainWhatWasSuperseded) {
  const std::string got = ask("explain " + kSlow).out;
  EXPECT_TRUE(
      contains(got, "\nactive from 2025-01-01T00:00:00Z, superseded by F0396, by event 5 at 2025-01-01T00:04:00Z\n"));
  EXPECT_TRUE(contains(got, "\nRaised by event 1\n"));
  EXPECT_TRUE(contains(got,
                       "\nWhat came of it\n"
                       "  refreshed      1 time, last at 2025-01-01T00:03:00Z\n"
                       "  shows          FAN1_TACH1: Fan speed for fan-1 is lower non critical : Check the air intake "
                       "to the server\n"
                       "  of             event 4 at 2025-01-01T00:03:00Z\n"
                       "  ended          superseded by F0396, by event 5 at 2025-01-01T00:04:00Z\n"));
  EXPECT_FALSE(contains(got, "Who reports it"));
  EXPECT_TRUE(contains(got, "  raised by      3: any but 0; 4: 4\n"));
  EXPECT_TRUE(contains(got,
                       "  cleared by     3: 0\n"
                       "  superseded by  F0396 fltEquipmentFanPerfThresholdCritical, raised by 4: any but 4\n"));
}

TEST_F(Queries, ExplainWhatWasCleared) {
  const std::string got = ask("explain " + kSupply).out;
  EXPECT_TRUE(contains(got, "\nactive from 2025-01-01T00:01:00Z, cleared, by event 7 at 2025-01-01T00:06:00Z\n"));
  EXPECT_TRUE(contains(got, "  state          cleared at 2025-01-01T00:06:00Z\n"));
  EXPECT_TRUE(contains(got, "  id             ps-1-out\n"));
  EXPECT_TRUE(contains(got, "  raised by      30, 112: any but 0\n"));
  EXPECT_TRUE(contains(got, "  cleared by     30, 112: 0\n"));
  EXPECT_FALSE(contains(got, "superseded"));
}

// Rules of the event log go by what is remembered of it.
TEST_F(Queries, ExplainTheEventLog) {
  write_ledger(path_, {{480, R"({"entity":"sys_board","sensor":"SEL_FULLNESS","offset":118,"state":1,)"
                             R"("time":"2025-01-01T00:07:30Z"})"}});
  const std::string got = ask("explain sys/rack-unit-1/mgmt/log-SEL-0/fault-F0461").out;
  EXPECT_TRUE(contains(got, "active since 2025-01-01T00:07:30Z, reported by 1\n"));
  EXPECT_TRUE(contains(got,
                       "\nRaised by event 9\n"
                       "  time           2025-01-01T00:07:30Z\n"
                       "  received       2025-01-01T00:08:00Z\n"
                       "  entity         sys_board\n"
                       "  sensor         SEL_FULLNESS\n"
                       "  instance       1\n"
                       "  offset         118\n"
                       "  state          1\n"));
  EXPECT_TRUE(contains(got,
                       "  name           fltSysdebugMEpLogMEpLogVeryLow\n"
                       "  severity       minor\n"
                       "  cause          log-capacity\n"));
  EXPECT_TRUE(contains(got, "  description    SEL_FULLNESS: System Event log capacity is low\n"));
  EXPECT_TRUE(contains(got,
                       "  raised by      threshold 115: any but 0; 116: 5; 119: 5, 6; threshold 119: 1 (log full); "
                       "threshold 118: 1 (log not low or log low or log full)\n"));
  EXPECT_TRUE(contains(got,
                       "  cleared by     threshold 115, 118: 0\n"
                       "  superseded by  F0460 fltSysdebugMEpLogMEpLogLog, raised by "
                       "threshold 118: 5; threshold 118: 1 (log very low)\n"
                       "  superseded by  F0462 fltSysdebugMEpLogMEpLogFull, raised by "));
}

TEST_F(Queries, ExplainAsJson) {
  const json hot = json::parse(ask("explain --json " + kHot).out);
  EXPECT_EQ(hot["alarm"], ledger_id() + "-7");
  EXPECT_EQ(hot["fault"], 7);
  EXPECT_EQ(hot["fault_dn"], kHot);
  EXPECT_EQ(hot["dn"], "sys/rack-unit-1");
  EXPECT_EQ(hot["severity"], "critical");
  EXPECT_EQ(hot["since"], "2025-01-01T00:05:00Z");
  EXPECT_FALSE(hot.contains("ended"));
  EXPECT_EQ(hot["superseded"], json::array());
  EXPECT_EQ(hot["history"], json::parse(ask("history --json " + kHot).out));
  EXPECT_EQ(hot["changes"].size(), 1U);
  EXPECT_EQ(hot["changes_left_out"], 0);
  const json event = {{"seq", 6},
                      {"received", "2025-01-01T00:05:00Z"},
                      {"at", "2025-01-01T00:05:00Z"},
                      {"entity", "front_panel"},
                      {"sensor", "FP_TEMP"},
                      {"instance", 1},
                      {"group", 0},
                      {"entity_id", 12},
                      {"entity_subtype", 0},
                      {"reading_type", 0},
                      {"offset", 107},
                      {"state", 6}};
  EXPECT_EQ(hot["raise"]["event"], event);
  EXPECT_EQ(hot["raise"]["change"], "raised");
  EXPECT_EQ(hot["raise"]["record"]["descr"], kHotText + " ");
  EXPECT_EQ(hot["raise"], hot["shown"]);
  const json rule = {
      {"filter", "front_panel"},
      {"raised_by", "107: any but 5"},
      {"cleared_by", ""},
      {"superseded_by",
       {{{"code", 153}, {"name", "fltEquipmentChassisThermalThresholdCritical"}, {"events", "107: 5"}}}}};
  EXPECT_EQ(hot["rule"], rule);

  const json slow = json::parse(ask("explain --json " + kSlow).out);
  EXPECT_EQ(slow["ending"], "superseded");
  EXPECT_EQ(slow["superseded_by"], kSlower);
  EXPECT_EQ(slow["ended_seq"], 5);
  EXPECT_EQ(json::parse(ask("explain --json " + kSupply).out)["raise"]["event"]["id"], "ps-1-out");
  EXPECT_EQ(json::parse(ask("explain --json " + kSlower).out)["superseded"], json::array({kSlow}));
}

// The sensors of the host are those of the time, unless others are named.
TEST_F(Queries, ExplainAHostSensor) {
  write_ledger(path_, {{480, R"({"entity":"drive_bp","sensor":"HDD_BP1_TEMP","offset":118,"state":5})"}});
  const std::string fault = json::parse(ask("active --json --entity drive_bp").out)["fault_dn"];
  EXPECT_TRUE(contains(ask("explain " + fault).out, "  cleared by     115: 0; 118: any but 5\n"));
  const std::string tables = shell_.dir().file("tables");
  const Ended other = ask("active >/dev/null; cp -r '" POLAIGA_TABLES_DIR "' '" + tables +
                          "' && sed -i s/HDD_BP1_TEMP/BAY_TEMP/ '" + tables + "/drive_bp.tsv' && $POLAIGA explain " +
                          fault + " --ledger '" + path_ + "' --tables '" + tables + "'");
  EXPECT_EQ(other.status, 0);
  EXPECT_TRUE(contains(other.out, "  raised by      This build's filter does not raise the fault by this event.\n"));
  expect_failure("explain " + fault + " --tables /nowhere", "polaiga: /nowhere/nm.tsv: cannot open");
}

TEST_F(RiserQueries, ExplainTellsWhoReports) {
  write_ledger(path_, {riser(10, 1, 117, 4), riser(20, 2, 117, 4), riser(30, 1, 117, 4)});
  const std::string got = ask("explain " + kWarm).out;
  EXPECT_TRUE(contains(got, "\nactive since 2025-01-01T00:00:10Z, reported by 2\n"));
  EXPECT_TRUE(contains(got,
                       "\nWho reports it\n"
                       "  sys_board RISER1_INLET_TMP, instance 1, since event 1 at 2025-01-01T00:00:10Z, 2 records, "
                       "last by event 3 at 2025-01-01T00:00:30Z\n"
                       "    " +
                           warm_text(1) +
                           "\n"
                           "  sys_board RISER2_INLET_TMP, instance 1, since event 2 at 2025-01-01T00:00:20Z, 1 record\n"
                           "    " +
                           warm_text(2) + "\n"));
  const json reports = json::parse(ask("explain --json " + kWarm).out)["reports"];
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[0]["sensor"], "RISER1_INLET_TMP");
  EXPECT_EQ(reports[0]["count"], 2);
  EXPECT_EQ(reports[0]["last_seq"], 3);
  EXPECT_EQ(reports[1]["record"]["descr"], warm_text(2));
}

}  // namespace explain_command_test
}  // namespace polaiga::engine::test
