// polaiga active, history, explain and tail, on ledgers that an engine has written.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/ledger_of.h"
#include "support/program.h"

namespace polaiga::engine::test {
namespace {

using nlohmann::json;

const std::string kHeader = "SINCE                 SEVERITY  CODE   REPORTERS  OBJECT";
const std::string kSlowerText =
    "FAN1_TACH1: Fan speed for fan-1 is lower critical : Check the air intake to the server";
const std::string kHotText = "FP_TEMP: Front Panel Thermal Threshold at upper non recoverable levels: Check Cooling";
const std::string kTenthText = "PS10_STATUS: Power Supply 10 missing: reseat or replace PS 10";

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class Queries : public ::testing::Test {
 protected:
  void SetUp() override { write_ledger(path_, kStory); }

  Ended ask(const std::string& arguments) const {
    return shell_.run("POLAIGA_LEDGER='" + path_ + "' $POLAIGA " + arguments);
  }

  void expect_failure(const std::string& arguments, const std::string& complaint) const {
    const Ended got = ask(arguments);
    EXPECT_EQ(got.status, 2) << arguments;
    EXPECT_EQ(got.out, "") << arguments;
    EXPECT_TRUE(contains(got.err, complaint)) << arguments << ": " << got.err;
  }

  void expect_answer(const std::string& arguments, const std::string& answer) const {
    const Ended got = ask(arguments);
    EXPECT_EQ(got.status, 0) << arguments;
    EXPECT_EQ(got.err, "") << arguments;
    EXPECT_EQ(got.out, answer) << arguments;
  }

  // Random, and part of each alarm's id.
  std::string ledger_id() const { return json::parse(ask("tail --no-follow -n 1 --json").out)["ledger_id"]; }

  Shell shell_;
  std::string path_ = shell_.dir().file("ledger.db");
};

// A line of `active`: when, how severe, the code, how many report it; then the object.
std::string active_line(const std::string& start, const std::string& object, std::size_t width,
                        const std::string& description) {
  return start + object + std::string(width - object.size(), ' ') + "  " + description + "\n";
}
const std::string kTenthStart = "2025-01-01T00:02:00Z  warning   F0378  1          ";
const std::string kSlowerStart = "2025-01-01T00:04:00Z  major     F0396  1          ";
const std::string kHotStart = "2025-01-01T00:05:00Z  critical  F0155  1          ";

TEST_F(Queries, Active) {
  const std::size_t width = kFan.size();
  expect_answer("active", kHeader + "                                DESCRIPTION\n" +
                              active_line(kTenthStart, "sys/rack-unit-1/psu-10", width, kTenthText) +
                              active_line(kSlowerStart, kFan, width, kSlowerText) +
                              active_line(kHotStart, "sys/rack-unit-1", width, kHotText));
}

TEST_F(Queries, ActiveAtATime) {
  const std::string one =
      kHeader + "                                DESCRIPTION\n" +
      active_line("2025-01-01T00:00:00Z  minor     F0395  1          ", kFan, kFan.size(),
                  "FAN1_TACH1: Fan speed for fan-1 is lower non critical : Check the air intake to the server");
  expect_answer("active --at 2025-01-01T00:00:59Z", one);
  expect_answer("active --at 2025-01-01T01:00:59+01:00", one);
  expect_answer("active --at 1735689659", one);
  expect_answer("active --at 2024-12-31T23:59:59Z", "No faults are active.\n");
}

TEST_F(Queries, ActiveOfASelection) {
  const std::string hot =
      kHeader + "           DESCRIPTION\n" + active_line(kHotStart, "sys/rack-unit-1", 15, kHotText);
  const std::string tenth =
      kHeader + "                  DESCRIPTION\n" + active_line(kTenthStart, "sys/rack-unit-1/psu-10", 22, kTenthText);
  expect_answer("active --severity critical", hot);
  expect_answer("active --entity front_panel", hot);
  expect_answer("active --under sys/rack-unit-1/psu-10/", tenth);
  expect_answer("active --under sys/rack-unit-1/psu-1", "No faults are active.\n");
  expect_answer("active --under sys/rack-unit-1/psu_10", "No faults are active.\n");
  expect_answer("active --under 'sys/%'", "No faults are active.\n");
  // The story is long ago.
  expect_answer("active --newer-than 1d", "No faults are active.\n");
  expect_answer("active --older-than 30d --entity ps", tenth);
  // Ages of 360, 240 and 180 seconds.
  const std::string at = "active --at 2025-01-01T00:08:00Z ";
  expect_answer(at + "--older-than 6m", tenth);
  expect_answer(at + "--older-than 361s", "No faults are active.\n");
  expect_answer(at + "--newer-than 181s", hot);
  expect_answer(at + "--newer-than 3m", "No faults are active.\n");
  expect_answer(at + "--older-than 3m --newer-than 4m", hot);
}

TEST_F(Queries, ActiveAsJson) {
  const json tenth = json::parse(ask("active --json --entity ps").out);
  EXPECT_EQ(tenth["alarm"], ledger_id() + "-3");
  EXPECT_EQ(tenth["fault"], 3);
  EXPECT_EQ(tenth["fault_dn"], kTenth);
  EXPECT_EQ(tenth["dn"], "sys/rack-unit-1/psu-10");
  EXPECT_EQ(tenth["code"], 378);
  EXPECT_EQ(tenth["name"], "fltEquipmentPsuMissing");
  EXPECT_EQ(tenth["severity"], "warning");
  EXPECT_EQ(tenth["since"], "2025-01-01T00:02:00Z");
  EXPECT_EQ(tenth["created"], "2025-01-01T00:02:00Z");
  EXPECT_EQ(tenth["raised_seq"], 3);
  EXPECT_EQ(tenth["shown_seq"], 3);
  EXPECT_EQ(tenth["count"], 1);
  EXPECT_EQ(tenth["reporters"], 1);
  EXPECT_FALSE(tenth.contains("ended"));
  EXPECT_EQ(tenth["event"]["sensor"], "PS10_STATUS");
  EXPECT_EQ(tenth["record"]["descr"], "PS10_STATUS: Power Supply 10 missing: reseat or replace PS 10");
  expect_answer("active --json --entity cpu", "");

  // The fan's alarm has gone on from one fault to the next.
  const json slower = json::parse(ask("active --json --entity fan").out);
  EXPECT_EQ(slower["alarm"], ledger_id() + "-1");
  EXPECT_EQ(slower["fault"], 6);
  EXPECT_EQ(slower["created"], "2025-01-01T00:00:00Z");
  EXPECT_EQ(slower["since"], "2025-01-01T00:04:00Z");
}

TEST_F(Queries, ActiveAsJsonAtATime) {
  const json refreshed = json::parse(ask("active --json --at 1735689780 --entity fan").out);  // 180
  EXPECT_EQ(refreshed["fault"], 1);
  EXPECT_EQ(refreshed["count"], 2);
  EXPECT_EQ(refreshed["shown_seq"], 4);
  EXPECT_EQ(refreshed["updated"], "2025-01-01T00:03:00Z");
  const json before = json::parse(ask("active --json --at 1735689779 --entity fan").out);
  EXPECT_EQ(before["raised_seq"], 1);
  EXPECT_EQ(before["shown_seq"], 1);
  EXPECT_EQ(before["event"]["seq"], 1);
}

// Riser sensors of the board share a fault. An event of one of them, at a second.
EventAt riser(int at, int number, int offset, int state) {
  return {at, R"({"entity":"sys_board","sensor":"RISER)" + std::to_string(number) + R"(_INLET_TMP","offset":)" +
                  std::to_string(offset) + R"(,"state":)" + std::to_string(state) + "}"};
}
const std::string kBoard = "sys/rack-unit-1/board";
const std::string kWarm = kBoard + "/fault-F0410";
const std::string kTooHot = kBoard + "/fault-F0409";

std::string warm_text(int number) {
  return "RISER" + std::to_string(number) + "_INLET_TMP: Riser " + std::to_string(number) +
         " inlet temperature has crossed upper non-critical threshold: Check device cooling";
}

class RiserQueries : public Queries {
 protected:
  void SetUp() override {}

  static std::string board_line(int reporters, int shown) {
    return kHeader + "                 DESCRIPTION\n2025-01-01T00:00:10Z  minor     F0410  " +
           std::to_string(reporters) + "          " + kBoard + "  " + warm_text(shown) + "\n";
  }
};

// The fault is over when the last sensor says so, not the first.
TEST_F(RiserQueries, AFaultIsActiveUntilItsLastReporterRecovers) {
  write_ledger(path_, {riser(10, 1, 117, 4), riser(20, 2, 117, 4)});
  expect_answer("active", board_line(2, 2));
  write_ledger(path_, {riser(30, 2, 117, 0)});
  expect_answer("active", board_line(1, 1));
  expect_answer("active --at 2025-01-01T00:00:25Z", board_line(2, 2));
  write_ledger(path_, {riser(40, 1, 117, 0)});
  expect_answer("active", "No faults are active.\n");
  expect_answer("tail --no-follow",
                "     1  2025-01-01T00:00:10Z  minor     F0410  " + kBoard + "  " + warm_text(1) +
                    "  (raised)\n     2  2025-01-01T00:00:20Z  minor     F0410  " + kBoard + "  " + warm_text(2) +
                    "  (refreshed, 2 report it)\n     3  2025-01-01T00:00:30Z  minor     F0410  " + kBoard +
                    "  RISER2_INLET_TMP:  Riser 2 inlet temperature has crossed upper non critical threshold: Cleared"
                    "  (partly cleared, 1 still reports it)\n     4  2025-01-01T00:00:40Z  cleared   F0410  " +
                    kBoard +
                    "  RISER1_INLET_TMP:  Riser 1 inlet temperature has crossed upper non critical threshold: Cleared"
                    "  (cleared)\n");
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
  EXPECT_TRUE(contains(got, "  (refreshed, 2 report it)\n"));
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

TEST_F(Queries, ActiveInColour) {
  const std::string coloured = "2025-01-01T00:04:00Z  \x1b[31mmajor   \x1b[0m  F0396  1          " + kFan + "  ";
  EXPECT_TRUE(contains(ask("active --color always --entity fan").out, "\n" + coloured));
  const std::string command = "$POLAIGA active --entity fan --ledger '" + path_ + "'";
  EXPECT_TRUE(contains(shell_.run_on_terminal(command).out, coloured));
  EXPECT_FALSE(contains(shell_.run_on_terminal(command + " --color never").out, "\x1b"));
}

TEST_F(Queries, TextsAreShownSafely) {
  write_ledger(path_, {{480, R"({"entity":"fan","sensor":"X\u001b[2J","instance":2,"offset":3,"state":1})"}});
  EXPECT_TRUE(contains(ask("active --newer-than 9999d").out, "  X?[2J: Fan speed for fan-2 is"));
  EXPECT_TRUE(
      contains(ask("explain sys/rack-unit-1/fan-module-1-2/fan-1/fault-F0395").out, "  sensor         X?[2J\n"));
  EXPECT_TRUE(contains(ask("tail --no-follow").out, "  X?[2J: Fan speed for fan-2 is"));
}

// A ledger that keeps few events: what is past the limit goes with the next batches.
void write_short_ledger(const std::string& path) {
  write_ledger(path, kStory, {.events = 2, .days = 0});
  write_ledger(path, {{480, kStory[7].line}, {540, kStory[7].line}}, {.events = 2, .days = 0});
}

TEST_F(Queries, BeforeWhatIsKept) {
  const std::string path = shell_.dir().file("short.db");
  write_short_ledger(path);
  expect_failure("active --ledger '" + path + "' --at 2025-01-01T00:04:59Z",
                 "polaiga: " + path + ": the ledger reaches back to 2025-01-01T00:");
}

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

TEST_F(Queries, WhatNeverWas) {
  for (const char* command : {"history", "history --json", "explain", "explain --json"}) {
    const Ended got = ask(std::string(command) + " sys/rack-unit-1/psu-2/fault-F0378");
    EXPECT_EQ(got.status, 1) << command;
    EXPECT_EQ(got.out, "") << command;
    EXPECT_EQ(got.err, "The ledger has no history of sys/rack-unit-1/psu-2/fault-F0378.\n") << command;
  }
}

TEST_F(Queries, EmptyLedger) {
  const std::string path = shell_.dir().file("empty.db");
  write_ledger(path, {});
  const std::string option = " --ledger '" + path + "'";
  expect_answer("active" + option, "No faults are active.\n");
  expect_answer("active --json" + option, "");
  expect_answer("active --at 0" + option, "No faults are active.\n");
  expect_answer("history" + option, "No alarm was ever raised.\n");
  expect_answer("tail --no-follow" + option, "");
}

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

// The last two changes of the story.
const std::string kRaised =
    "     7  2025-01-01T00:05:00Z  critical  F0155  sys/rack-unit-1  " + kHotText + "  (raised)\n";
const std::string kCleared =
    "     8  2025-01-01T00:06:00Z  cleared   F0378  sys/rack-unit-1/psu-1  PS1_STATUS: Power Supply 1 missing: Cleared"
    "  (cleared)\n";
const std::string kMissing =
    "     2  2025-01-01T00:01:00Z  warning   F0378  sys/rack-unit-1/psu-1  PS1_STATUS: Power Supply 1 missing: reseat "
    "or "
    "replace PS 1  (raised)\n";

class TailQueries : public Queries {
 protected:
  // Moves the ledger away with all that belongs to it.
  void set_aside() const {
    for (const char* part : {"", "-wal", "-shm", "-mark"}) {
      if (std::filesystem::exists(path_ + part)) std::filesystem::rename(path_ + part, path_ + ".aside" + part);
    }
  }

  std::string command(const std::string& options = "") const {
    return "\"$POLAIGA\" tail --ledger '" + path_ + "' " + options;
  }

  // A link that is lost at a second.
  static EventAt lost(int at) { return {at, R"({"entity":"ne","sensor":"LINK","offset":126,"state":1})"}; }

  bool has_told(const std::string& text) const {
    return test::comes_true([&] { return contains(shell_.dir().read("err"), text); });
  }
};

TEST_F(TailQueries, TheLast) {
  expect_answer("tail --no-follow -n 1", kCleared);
  expect_answer("tail --no-follow -n 0", "");
  expect_answer("tail --no-follow --under sys/rack-unit-1/psu-1", kMissing + kCleared);
  expect_answer("tail --no-follow -n 2 --severity warning", kRaised + kCleared);
  expect_answer("tail --no-follow --severity critical", kRaised);
  const std::string slow =
      "  F0395  " + kFan +
      "  FAN1_TACH1: Fan speed for fan-1 is lower non critical : Check the air intake to the server";
  expect_answer("tail --no-follow --under " + kFan, "     1  2025-01-01T00:00:00Z  minor   " + slow +
                                                        "  (raised)\n"
                                                        "     4  2025-01-01T00:03:00Z  minor   " +
                                                        slow +
                                                        "  (refreshed)\n"
                                                        "     5  2025-01-01T00:04:00Z  minor     F0395  " +
                                                        kFan +
                                                        "  (superseded)\n"
                                                        "     6  2025-01-01T00:04:00Z  major     F0396  " +
                                                        kFan + "  " + kSlowerText + "  (raised, alarm 1 goes on)\n");
}

TEST_F(TailQueries, AsJson) {
  const json last = json::parse(ask("tail --no-follow --json -n 1").out);
  EXPECT_EQ(last["ledger_id"].get<std::string>().size(), 32U);
  EXPECT_EQ(last["number"], 8);
  EXPECT_EQ(last["change"], "cleared");
  EXPECT_EQ(last["at"], "2025-01-01T00:06:00Z");
  EXPECT_EQ(last["seq"], 7);
  EXPECT_EQ(last["alarm"], last["ledger_id"].get<std::string>() + "-2");
  EXPECT_EQ(last["fault"], 2);
  EXPECT_EQ(last["fault_dn"], kSupply);
  EXPECT_EQ(last["before"], "warning");
  EXPECT_EQ(last["after"], "cleared");
  EXPECT_EQ(last["reporters"], 0);
  EXPECT_EQ(last["event"]["seq"], 7);
  EXPECT_EQ(last["record"]["code"], 378);
}

// A reader goes on where it stopped.
TEST_F(TailQueries, AfterANumber) {
  expect_answer("tail --no-follow --after 6", kRaised + kCleared);
  expect_answer("tail --no-follow --after 8", "");
  EXPECT_EQ(ask("tail --no-follow --after 0").out, ask("tail --no-follow -n 8").out);
  expect_answer("tail --no-follow --after 1 --under sys/rack-unit-1/psu-1", kMissing + kCleared);
  expect_failure("tail --after 9",
                 "polaiga: " + path_ + ": there is no change 9; the last one is 8. Has another ledger ");
  expect_failure("tail --after 1 -n 1", "--after");

  Child child(command("--after 7"), shell_.dir());
  ASSERT_TRUE(child.has_printed(kCleared));
  write_ledger(path_, {lost(480)});
  ASSERT_TRUE(child.has_printed("     9  2025-01-01T00:08:00Z  warning   F0717"));
  child.interrupt();
  EXPECT_EQ(child.wait().out.find(kRaised), std::string::npos);
}

TEST_F(TailQueries, AfterANumberThatIsNoLongerKept) {
  const std::string path = shell_.dir().file("short.db");
  write_short_ledger(path);
  const Ended got = ask("tail --no-follow --after 0 --ledger '" + path + "'");
  EXPECT_EQ(got.status, 0);
  EXPECT_TRUE(contains(got.err, "polaiga: " + path + ": changes 1 to ")) << got.err;
  EXPECT_TRUE(contains(got.err, " are no longer kept\n")) << got.err;
}

TEST_F(TailQueries, Follows) {
  Child child(command("-n 1"), shell_.dir());
  ASSERT_TRUE(child.has_printed(kCleared));
  write_ledger(path_, {lost(480), {500, kStory[1].line.substr(0, kStory[1].line.find(",\"id\"")) + "}"}});
  ASSERT_TRUE(child.has_printed("     9  2025-01-01T00:08:00Z  warning   F0717  sys/rack-unit-1/mgmt/if-1  "));
  ASSERT_TRUE(child.has_printed("    10  2025-01-01T00:08:20Z  warning   F0378  sys/rack-unit-1/psu-1  "));
  write_ledger(path_, {lost(540)});
  ASSERT_TRUE(child.has_printed("    11  2025-01-01T00:09:00Z  warning   F0717"));
  child.interrupt();
  const Ended got = child.wait();
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.err, "");
  EXPECT_EQ(std::count(got.out.begin(), got.out.end(), '\n'), 4);
}

TEST_F(TailQueries, FollowsASelection) {
  write_ledger(path_, {lost(470)});
  Child child(command("-n 1 --json --under sys/rack-unit-1/mgmt"), shell_.dir());
  ASSERT_TRUE(child.has_printed("2025-01-01T00:07:50Z"));
  write_ledger(path_, {{480, kStory[2].line}, lost(490)});
  ASSERT_TRUE(child.has_printed("2025-01-01T00:08:10Z"));
  child.interrupt();
  const Ended got = child.wait();
  EXPECT_EQ(got.status, 0);
  std::istringstream lines(got.out);
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    EXPECT_EQ(json::parse(line)["fault_dn"], "sys/rack-unit-1/mgmt/if-1/fault-F0717");
  }
  EXPECT_EQ(count, 2);
}

TEST_F(TailQueries, AnotherLedgerTakesItsPlace) {
  Child child(command(), shell_.dir());
  ASSERT_TRUE(child.has_printed(kCleared));
  set_aside();
  ASSERT_TRUE(has_told("polaiga: " + path_ + ": the ledger is gone; waiting for a new one\n"));
  write_ledger(path_, {lost(600)});
  ASSERT_TRUE(child.has_printed("2025-01-01T00:10:00Z  warning   F0717"));
  write_ledger(path_, {lost(660)});
  ASSERT_TRUE(child.has_printed("2025-01-01T00:11:00Z  warning   F0717"));

  // This time there is no moment without a ledger that would be seen for sure.
  const std::string other = shell_.dir().file("other.db");
  write_ledger(other, {lost(720)});
  set_aside();
  std::filesystem::rename(other, path_);
  ASSERT_TRUE(child.has_printed("2025-01-01T00:12:00Z  warning   F0717"));
  child.interrupt();
  const Ended got = child.wait();
  EXPECT_EQ(got.status, 0);
  const std::string told = got.err.substr(got.err.find('\n') + 1);
  EXPECT_TRUE(told == "polaiga: " + path_ + ": the ledger was replaced; the new one follows, from its beginning\n" ||
              told == "polaiga: " + path_ + ": the ledger is gone; waiting for a new one\n")
      << got.err;
}

TEST_F(TailQueries, SaysWhyANewLedgerCannotBeRead) {
  Child child(command(), shell_.dir());
  ASSERT_TRUE(child.has_printed(kCleared));
  set_aside();
  shell_.dir().write("ledger.db", std::string(4096, 'x'));
  ASSERT_TRUE(has_told("polaiga: " + path_ + ": cannot open the ledger: "));
  child.interrupt();
  EXPECT_EQ(child.wait().status, 0);
}

TEST_F(TailQueries, AReaderThatGoesEndsIt) {
  const Ended got = shell_.run("(timeout 20 " + command() + "; echo status $? >&2) | head -n 1");
  EXPECT_EQ(got.out.substr(0, 28), "     1  2025-01-01T00:00:00Z");
  EXPECT_EQ(got.err, "status 0\n");
}

TEST_F(Queries, NoLedger) {
  const std::string missing = shell_.dir().file("missing.db");
  const std::string text = shell_.dir().write("text.db", "This is a text, and long enough to be read as one.\n");
  const std::string later = shell_.dir().file("later.db");
  write_ledger(later, {});
  Database(later, Access::kReadWriteCreate).exec("PRAGMA user_version = 99");
  const std::string foreign = shell_.dir().file("foreign.db");
  Database(foreign, Access::kReadWriteCreate).exec("CREATE TABLE t (x)");
  const std::pair<std::string, std::string> kRows[] = {
      {missing, ": there is no such ledger; "},
      {text, ": cannot open the ledger: file is not a database"},
      {later, ": this ledger is of version 99, "},
      {foreign, ": this is no ledger"},
      {shell_.dir().path().string(), ": this is a directory; --ledger names a file"},
  };
  for (const auto& [path, what] : kRows) {
    for (const char* command : {"active", "history", "explain x", "tail", "tail --no-follow"}) {
      expect_failure(std::string(command) + " --ledger '" + path + "'", "polaiga: " + path + what);
    }
  }
  EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST_F(Queries, WhatIsWrong) {
  const std::pair<const char*, const char*> kRows[] = {
      {"active --severity bad", "--severity: bad not in {indeterminate,warning,minor,major,critical}"},
      {"active --severity cleared", "cleared not in"},
      {"active --entity fans", "--entity: fans not in {sys_board,fan,ps,"},
      {"active --under ''", "--under: give a DN, as in sys/rack-unit-1/psu-1"},
      {"active --under //", "--under: give a DN"},
      {"active --older-than 5", "--older-than: '5' is not an age; give a number with s, m, h or d, as in 90s or 2h"},
      {"active --older-than ''", "--older-than: '' is not an age"},
      {"active --older-than h", "'h' is not an age"},
      {"active --older-than 5w", "'5w' is not an age"},
      {"active --older-than=-5h", "'-5h' is not an age"},
      {"active --newer-than 1.5h", "'1.5h' is not an age"},
      {"active --newer-than '5 h'", "'5 h' is not an age"},
      {"active --newer-than 99999999999999999999d", "is not an age"},
      {"active --newer-than 9999999999d", "is not an age"},
      {"active --at yesterday",
       "--at: 'yesterday' is neither an RFC 3339 time, as in 2025-03-12T09:12:20Z, nor seconds"},
      {"active --at 2025-02-30T00:00:00Z", "'2025-02-30T00:00:00Z' is neither"},
      {"active --at=-1", "'-1' is neither"},
      {"active --color red", "--color"},
      {"active extra", "extra"},
      {"history --limit=-1", "--limit"},
      {"history --limit x", "--limit"},
      {"explain", "FAULT_DN is required"},
      {"tail -n=-1", "--lines"},
      {"tail -n x", "--lines"},
      {"tail --after=-1", "--after"},
      {"tail --severity worse", "--severity: worse not in"},
  };
  for (const auto& [arguments, complaint] : kRows) expect_failure(arguments, complaint);
}

}  // namespace
}  // namespace polaiga::engine::test
