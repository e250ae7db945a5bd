// polaiga active, history, explain and tail, on ledgers that an engine has written.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

#include "support/ledger_of.h"
#include "support/program.h"

namespace polaiga::engine::test {
namespace {

using nlohmann::json;

const std::string kHeader = "SINCE                 SEVERITY  CODE   OBJECT";
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

  Shell shell_;
  std::string path_ = shell_.dir().file("ledger.db");
};

TEST_F(Queries, Active) {
  expect_answer("active",
                kHeader + "                                DESCRIPTION\n" +
                    "2025-01-01T00:02:00Z  warning   F0378  sys/rack-unit-1/psu-10                " + kTenthText +
                    "\n" + "2025-01-01T00:04:00Z  major     F0396  sys/rack-unit-1/fan-module-1-1/fan-1  " +
                    kSlowerText + "\n" +
                    "2025-01-01T00:05:00Z  critical  F0155  sys/rack-unit-1                       " + kHotText + "\n");
}

TEST_F(Queries, ActiveAtATime) {
  const std::string one =
      kHeader +
      "                                DESCRIPTION\n"
      "2025-01-01T00:00:00Z  minor     F0395  sys/rack-unit-1/fan-module-1-1/fan-1  "
      "FAN1_TACH1: Fan speed for fan-1 is lower non critical : Check the air intake to the server\n";
  expect_answer("active --at 2025-01-01T00:00:59Z", one);
  expect_answer("active --at 2025-01-01T01:00:59+01:00", one);
  expect_answer("active --at 1735689659", one);
  expect_answer("active --at 2024-12-31T23:59:59Z", "No faults are active.\n");
}

TEST_F(Queries, ActiveOfASelection) {
  const std::string hot = kHeader + "           DESCRIPTION\n" +
                          "2025-01-01T00:05:00Z  critical  F0155  sys/rack-unit-1  " + kHotText + "\n";
  const std::string tenth = kHeader + "                  DESCRIPTION\n" +
                            "2025-01-01T00:02:00Z  warning   F0378  sys/rack-unit-1/psu-10  " + kTenthText + "\n";
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
  const std::string tenth =
      R"({"fault_dn":"sys/rack-unit-1/psu-10/fault-F0378","dn":"sys/rack-unit-1/psu-10","code":378,)"
      R"("code_text":"F0378","name":"fltEquipmentPsuMissing","severity":"warning","cause":"equipment-missing",)"
      R"("descr":"PS10_STATUS: Power Supply 10 missing: reseat or replace PS 10","entity":"ps",)"
      R"("since":"2025-01-01T00:02:00Z","updated":"2025-01-01T00:02:00Z","reports":1,"raised_seq":3,"last_seq":3})";
  expect_answer("active --json --entity ps", tenth + "\n");
  expect_answer("active --json --entity cpu", "");

  const json refreshed = json::parse(ask("active --json --at 1735689780 --entity fan").out);  // 180
  EXPECT_EQ(refreshed["reports"], 2);
  EXPECT_EQ(refreshed["last_seq"], 4);
  EXPECT_EQ(refreshed["updated"], "2025-01-01T00:03:00Z");
  const json before = json::parse(ask("active --json --at 1735689779 --entity fan").out);
  EXPECT_EQ(before["raised_seq"], 1);
  EXPECT_EQ(before["descr"],
            "FAN1_TACH1: Fan speed for fan-1 is lower non critical : Check the air intake to the server ");
  EXPECT_FALSE(before.contains("reports"));
  EXPECT_FALSE(before.contains("updated"));
  EXPECT_FALSE(before.contains("last_seq"));
}

TEST_F(Queries, ActiveInColour) {
  const std::string coloured = "2025-01-01T00:04:00Z  \x1b[31mmajor   \x1b[0m  F0396  " + kFan + "  ";
  EXPECT_TRUE(contains(ask("active --color always --entity fan").out, "\n" + coloured));
  const std::string command = "$POLAIGA active --entity fan --ledger '" + path_ + "'";
  EXPECT_TRUE(contains(shell_.run_on_terminal(command).out, coloured));
  EXPECT_FALSE(contains(shell_.run_on_terminal(command + " --color never").out, "\x1b"));
}

TEST_F(Queries, TextsAreShownSafely) {
  write_ledger(path_, {{480, R"({"entity":"fan","sensor":"X\u001b[2J","instance":2,"offset":3,"state":1})"}});
  EXPECT_TRUE(contains(ask("active --newer-than 9999d").out, "  X?[2J: Fan speed for fan-2 is"));
  EXPECT_TRUE(contains(ask("explain sys/rack-unit-1/fan-module-1-2/fan-1/fault-F0395").out, "  X?[2J\n"));
  EXPECT_TRUE(contains(ask("tail --no-follow").out, "  X?[2J: Fan speed for fan-2 is"));
}

TEST_F(Queries, BeyondTheHorizon) {
  const std::string path = shell_.dir().file("short.db");
  write_ledger(path, kStory, {.events = 2, .days = 0});
  expect_failure("active --ledger '" + path + "' --at 2025-01-01T00:04:59Z",
                 "polaiga: " + path + ": the ledger reaches back to 2025-01-01T00:05:00Z; ");
}

TEST_F(Queries, History) {
  expect_answer("history --limit 2 sys/rack-unit-1/psu-1/fault-F0378",
                "RAISED                ENDED                 DURATION  FAULT                              RAISED BY  "
                "ENDED BY  REPORTS  ENDING\n"
                "2025-01-01T00:01:00Z  2025-01-01T00:06:00Z  5m        sys/rack-unit-1/psu-1/fault-F0378  2          "
                "7         1        cleared\n");
  const Ended all = ask("history");
  EXPECT_EQ(all.status, 0);
  EXPECT_TRUE(contains(all.out, "\n2025-01-01T00:00:00Z  2025-01-01T00:04:00Z  4m       "));
  EXPECT_TRUE(contains(all.out, kSlow + "  1          5         2        superseded by F0396\n"));
  EXPECT_TRUE(contains(all.out, "\n2025-01-01T00:04:00Z  active                "));
  EXPECT_TRUE(contains(all.out, kSlower + "  5                    1\n"));
  EXPECT_LT(all.out.find(kSlow), all.out.find(kSupply));
  EXPECT_LT(all.out.find(kSupply), all.out.find(kTenth));
}

TEST_F(Queries, HistoryAsJson) {
  expect_answer("history --json " + kSlow,
                R"({"fault_dn":"sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395","active":false,)"
                R"("raised":"2025-01-01T00:00:00Z","raised_seq":1,"updated":"2025-01-01T00:03:00Z","last_seq":4,)"
                R"("reports":2,"ended":"2025-01-01T00:04:00Z","ended_seq":5,"ending":"superseded",)"
                R"("superseded_by":"F0396","seconds":240})"
                "\n");
  expect_answer("history --json --limit 1",
                R"({"fault_dn":"sys/rack-unit-1/fault-F0155","active":true,"raised":"2025-01-01T00:05:00Z",)"
                R"("raised_seq":6,"updated":"2025-01-01T00:05:00Z","last_seq":6,"reports":1})"
                "\n");
}

// The clocks of senders may go backwards.
TEST_F(Queries, Durations) {
  const std::pair<int, const char*> kRows[] = {{0, " 0s "},       {59, " 59s "},      {3600, " 1h "},
                                               {3661, " 1h 1m "}, {90061, " 1d 1h "}, {86460, " 1d "},
                                               {-65, " -1m 5s "}, {864000, " 10d "}};
  int number = 0;
  for (const auto& [seconds, text] : kRows) {
    const std::string path = shell_.dir().file(std::to_string(number++) + ".db");
    const std::string link = R"({"entity":"ne","sensor":"LINK","offset":126,)";
    write_ledger(path, {{0, link + R"("state":1,"time":1735689600})"},
                        {0, link + R"("state":0,"time":)" + std::to_string(kNewYear + seconds) + "}"}});
    EXPECT_TRUE(contains(ask("history --ledger '" + path + "'").out, "Z " + std::string(text))) << seconds;
  }
}

TEST_F(Queries, WhatNeverWas) {
  for (const char* command : {"history", "history --json", "explain", "explain --json"}) {
    const Ended got = ask(std::string(command) + " sys/rack-unit-1/psu-2/fault-F0378");
    EXPECT_EQ(got.status, 1) << command;
    EXPECT_EQ(got.out, "") << command;
    EXPECT_EQ(got.err, "No history of sys/rack-unit-1/psu-2/fault-F0378.\n") << command;
  }
}

TEST_F(Queries, EmptyLedger) {
  const std::string path = shell_.dir().file("empty.db");
  write_ledger(path, {});
  const std::string option = " --ledger '" + path + "'";
  expect_answer("active" + option, "No faults are active.\n");
  expect_answer("active --json" + option, "");
  expect_answer("active --at 0" + option, "No faults are active.\n");
  expect_answer("history" + option, "No fault was ever raised.\n");
  expect_answer("tail --no-follow" + option, "");
}

TEST_F(Queries, ExplainAThreshold) {
  expect_answer("explain " + kSlower,
                kSlower +
                    "\nactive since 2025-01-01T00:04:00Z\n"
                    "\nRaised by event 5\n"
                    "  received      2025-01-01T00:04:00Z\n"
                    "  sensor        FAN1_TACH1\n"
                    "  entity        fan\n"
                    "  offset        4\n"
                    "  state         5\n"
                    "  instance      1\n"
                    "\nWhat the record said\n"
                    "  code          F0396\n"
                    "  name          fltEquipmentFanPerfThresholdCritical\n"
                    "  severity      major\n"
                    "  cause         performance-problem\n"
                    "  description   " +
                    kSlowerText +
                    "\n"
                    "\nWhat it did\n"
                    "  superseded    sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395\n"
                    "  refreshed     never\n"
                    "  ended         not yet\n"
                    "\nThe rule, as OFFSETS: STATES\n"
                    "  filter        fan\n"
                    "  raised by     4: any but 4; 5: 5\n"
                    "\nWhat ends it, as OFFSETS: STATES of FAN1_TACH1\n"
                    "  cleared by    No event clears it.\n"
                    "  superseded by F0395 fltEquipmentFanPerfThresholdNonCritical, raised by 4: 4\n"
                    "  superseded by F0397 fltEquipmentFanPerfThresholdNonRecoverable, raised by 5: any but 5\n");
}

TEST_F(Queries, ExplainWhatWasSuperseded) {
  const std::string got = ask("explain " + kSlow).out;
  EXPECT_TRUE(
      contains(got, "\nactive from 2025-01-01T00:00:00Z, superseded by F0396, by event 5 at 2025-01-01T00:04:00Z\n"));
  EXPECT_TRUE(contains(got, "\nRaised by event 1\n"));
  EXPECT_TRUE(contains(got,
                       "\nWhat it did\n"
                       "  refreshed     1 time, last by event 4 at 2025-01-01T00:03:00Z\n"
                       "  ended         superseded by F0396, by event 5 at 2025-01-01T00:04:00Z\n"));
  EXPECT_TRUE(contains(got, "  raised by     3: any but 0; 4: 4\n"));
  EXPECT_TRUE(contains(got,
                       "  cleared by    3: 0\n"
                       "  superseded by F0396 fltEquipmentFanPerfThresholdCritical, raised by 4: any but 4\n"));
}

TEST_F(Queries, ExplainWhatWasCleared) {
  const std::string got = ask("explain " + kSupply).out;
  EXPECT_TRUE(contains(got, "\nactive from 2025-01-01T00:01:00Z, cleared by event 7 at 2025-01-01T00:06:00Z\n"));
  EXPECT_TRUE(contains(got, "  id            ps-1-out\n"));
  EXPECT_TRUE(contains(got, "  raised by     30, 112: any but 0\n"));
  EXPECT_TRUE(contains(got, "  cleared by    30, 112: 0\n"));
  EXPECT_FALSE(contains(got, "superseded"));
}

// Rules of the event log go by what is remembered of it.
TEST_F(Queries, ExplainTheEventLog) {
  write_ledger(path_, {{480, R"({"entity":"sys_board","sensor":"SEL_FULLNESS","offset":118,"state":1,)"
                             R"("time":"2025-01-01T00:07:30Z"})"}});
  const std::string got = ask("explain sys/rack-unit-1/mgmt/log-SEL-0/fault-F0461").out;
  EXPECT_TRUE(contains(got, "active since 2025-01-01T00:07:30Z\n"));
  EXPECT_TRUE(contains(got,
                       "\nRaised by event 9\n"
                       "  time          2025-01-01T00:07:30Z\n"
                       "  received      2025-01-01T00:08:00Z\n"
                       "  sensor        SEL_FULLNESS\n"
                       "  entity        sys_board\n"
                       "  offset        118\n"
                       "  state         1\n"));
  EXPECT_TRUE(contains(got,
                       "  name          fltSysdebugMEpLogMEpLogVeryLow\n"
                       "  severity      minor\n"
                       "  cause         log-capacity\n"
                       "  description   SEL_FULLNESS: System Event log capacity is low\n"));
  EXPECT_TRUE(contains(got,
                       "  raised by     threshold 115: any but 0; 116: 5; 119: 5, 6; threshold 119: 1 (log full); "
                       "threshold 118: 1 (log not low or log low or log full)\n"));
  EXPECT_TRUE(contains(got,
                       "  cleared by    threshold 115, 118: 0\n"
                       "  superseded by F0460 fltSysdebugMEpLogMEpLogLog, raised by "
                       "threshold 118: 5; threshold 118: 1 (log very low)\n"
                       "  superseded by F0462 fltSysdebugMEpLogMEpLogFull, raised by "));
}

TEST_F(Queries, ExplainAsJson) {
  const json hot = json::parse(ask("explain --json " + kHot).out);
  const json want = {
      {"fault_dn", kHot},
      {"dn", "sys/rack-unit-1"},
      {"active", true},
      {"since", "2025-01-01T00:05:00Z"},
      {"event",
       {{"seq", 6},
        {"received", "2025-01-01T00:05:00Z"},
        {"entity", "front_panel"},
        {"sensor", "FP_TEMP"},
        {"offset", 107},
        {"state", 6},
        {"instance", 1},
        {"group", 0},
        {"entity_id", 12},
        {"entity_subtype", 0},
        {"reading_type", 0}}},
      {"code", 155},
      {"code_text", "F0155"},
      {"name", "fltEquipmentChassisThermalThresholdNonRecoverable"},
      {"severity", "critical"},
      {"cause", "thermal-problem"},
      {"descr", kHotText + " "},
      {"superseded", json::array()},
      {"refreshed", 0},
      {"updated", "2025-01-01T00:05:00Z"},
      {"last_seq", 6},
      {"rule",
       {{"filter", "front_panel"},
        {"raised_by", "107: any but 5"},
        {"cleared_by", ""},
        {"superseded_by",
         {{{"code", 153},
           {"code_text", "F0153"},
           {"name", "fltEquipmentChassisThermalThresholdCritical"},
           {"events", "107: 5"}}}}}},
  };
  EXPECT_EQ(hot, want);
  const json slow = json::parse(ask("explain --json " + kSlow).out);
  EXPECT_EQ(slow["ending"], "superseded");
  EXPECT_EQ(slow["superseded_by"], "F0396");
  EXPECT_EQ(slow["ended_seq"], 5);
  EXPECT_EQ(json::parse(ask("explain --json " + kSupply).out)["event"]["id"], "ps-1-out");
  EXPECT_EQ(json::parse(ask("explain --json " + kSlower).out)["superseded"], json::array({kSlow}));
}

// The sensors of the host are those of the time, unless others are named.
TEST_F(Queries, ExplainAHostSensor) {
  write_ledger(path_, {{480, R"({"entity":"drive_bp","sensor":"HDD_BP1_TEMP","offset":118,"state":5})"}});
  const std::string fault = json::parse(ask("active --json --entity drive_bp").out)["fault_dn"];
  EXPECT_TRUE(contains(ask("explain " + fault).out, "  cleared by    115: 0; 118: any but 5\n"));
  const std::string tables = shell_.dir().file("tables");
  const Ended other = ask("active >/dev/null; cp -r '" POLAIGA_TABLES_DIR "' '" + tables +
                          "' && sed -i s/HDD_BP1_TEMP/BAY_TEMP/ '" + tables + "/drive_bp.tsv' && $POLAIGA explain " +
                          fault + " --ledger '" + path_ + "' --tables '" + tables + "'");
  EXPECT_EQ(other.status, 0);
  EXPECT_TRUE(contains(other.out, "  raised by     other events: this build would not raise it by that one\n"));
  expect_failure("explain " + fault + " --tables /nowhere", "polaiga: /nowhere/nm.tsv: cannot open");
}

const std::string kTailLines[] = {
    "minor     F0395  sys/rack-unit-1/fan-module-1-1/fan-1  FAN1_TACH1: Fan speed for fan-1 is lower non critical : "
    "Check the air intake to the server\n",
    "warning   F0378  sys/rack-unit-1/psu-1  PS1_STATUS: Power Supply 1 missing: reseat or replace PS 1\n",
    "cleared   F0378  sys/rack-unit-1/psu-1  PS1_STATUS: Power Supply 1 missing: Cleared  (clears F0378)\n",
};

// The events have times of their own, as records are stamped with the clock's.
std::vector<EventAt> timed_story() {
  std::vector<EventAt> story = kStory;
  for (EventAt& event : story) {
    event.line.pop_back();
    event.line += ",\"time\":" + std::to_string(kNewYear + event.received) + "}";
  }
  return story;
}

class TailQueries : public Queries {
 protected:
  void SetUp() override { write_ledger(path_, timed_story()); }

  std::string command(const std::string& options = "") const {
    return "\"$POLAIGA\" tail --ledger '" + path_ + "' " + options;
  }

  // A link that is lost at a second, as event and as line.
  static EventAt lost(int at) {
    return {at,
            R"({"entity":"ne","sensor":"LINK","offset":126,"state":1,"time":)" + std::to_string(kNewYear + at) + "}"};
  }

  bool has_told(const std::string& text) const {
    using namespace std::chrono_literals;
    for (const auto end = std::chrono::steady_clock::now() + 20s; std::chrono::steady_clock::now() < end;) {
      if (contains(shell_.dir().read("err"), text)) return true;
      std::this_thread::sleep_for(10ms);
    }
    return false;
  }
};

TEST_F(TailQueries, TheLast) {
  expect_answer("tail --no-follow -n 1", "2025-01-01T00:06:00Z  " + kTailLines[2]);
  expect_answer("tail --no-follow -n 0", "");
  expect_answer("tail --no-follow --under sys/rack-unit-1/psu-1",
                "2025-01-01T00:01:00Z  " + kTailLines[1] + "2025-01-01T00:06:00Z  " + kTailLines[2]);
  expect_answer("tail --no-follow -n 2 --severity warning", "2025-01-01T00:05:00Z  critical  F0155  sys/rack-unit-1  " +
                                                                kHotText + "\n2025-01-01T00:06:00Z  " + kTailLines[2]);
  expect_answer("tail --no-follow --severity critical",
                "2025-01-01T00:05:00Z  critical  F0155  sys/rack-unit-1  " + kHotText + "\n");
  const std::string all = ask("tail --no-follow").out;
  EXPECT_EQ(all.substr(0, all.find('\n') + 1), "2025-01-01T00:00:00Z  " + kTailLines[0]);
  EXPECT_TRUE(contains(all, "(still active)"));
  EXPECT_TRUE(contains(all, "(supersedes F0395)"));
  const json last = json::parse(ask("tail --no-follow --json -n 1").out);
  EXPECT_EQ(last["fault_dn"], kSupply);
  EXPECT_EQ(last["change"], "cleared");
  EXPECT_EQ(last["time"], "2025-01-01T00:06:00Z");
}

TEST_F(TailQueries, Follows) {
  Child child(command("-n 1"), shell_.dir());
  ASSERT_TRUE(child.has_printed("(clears F0378)\n"));
  write_ledger(path_, {lost(480), {500, kStory[1].line.substr(0, kStory[1].line.find(",\"id\"")) + "}"}});
  ASSERT_TRUE(child.has_printed("2025-01-01T00:08:00Z  warning   F0717  sys/rack-unit-1/mgmt/if-1  "));
  ASSERT_TRUE(child.has_printed("  warning   F0378  sys/rack-unit-1/psu-1  "));
  write_ledger(path_, {lost(540)});
  ASSERT_TRUE(child.has_printed("2025-01-01T00:09:00Z  warning   F0717"));
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
  ASSERT_TRUE(child.has_printed("(clears F0378)\n"));
  set_ledger_aside(path_, kNewYear);
  ASSERT_TRUE(has_told("polaiga: " + path_ + ": the ledger is gone; waiting for a new one\n"));
  write_ledger(path_, {lost(600)});
  ASSERT_TRUE(child.has_printed("2025-01-01T00:10:00Z  warning   F0717"));
  write_ledger(path_, {lost(660)});
  ASSERT_TRUE(child.has_printed("2025-01-01T00:11:00Z  warning   F0717"));

  // This time there is no moment without a ledger that would be seen for sure.
  const std::string other = shell_.dir().file("other.db");
  write_ledger(other, {lost(720)});
  set_ledger_aside(path_, kNewYear);
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
  ASSERT_TRUE(child.has_printed("(clears F0378)\n"));
  set_ledger_aside(path_, kNewYear);
  shell_.dir().write("ledger.db", std::string(4096, 'x'));
  ASSERT_TRUE(has_told("polaiga: " + path_ + ": cannot open the ledger: "));
  child.interrupt();
  EXPECT_EQ(child.wait().status, 0);
}

TEST_F(TailQueries, AReaderThatGoesEndsIt) {
  const Ended got = shell_.run("(timeout 20 " + command() + "; echo status $? >&2) | head -n 1");
  EXPECT_EQ(got.out, "2025-01-01T00:00:00Z  " + kTailLines[0]);
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
      {shell_.dir().path().string(), ": cannot open the ledger: "},
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
      {"active --under ''", "--under: a DN is wanted, as in sys/rack-unit-1/psu-1"},
      {"active --under //", "--under: a DN is wanted"},
      {"active --older-than 5", "--older-than: '5' is no age: a number with s, m, h or d, as in 90s or 2h"},
      {"active --older-than ''", "--older-than: '' is no age"},
      {"active --older-than h", "'h' is no age"},
      {"active --older-than 5w", "'5w' is no age"},
      {"active --older-than=-5h", "'-5h' is no age"},
      {"active --newer-than 1.5h", "'1.5h' is no age"},
      {"active --newer-than '5 h'", "'5 h' is no age"},
      {"active --newer-than 99999999999999999999d", "is no age"},
      {"active --newer-than 9999999999d", "is no age"},
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
      {"tail --severity worse", "--severity: worse not in"},
  };
  for (const auto& [arguments, complaint] : kRows) expect_failure(arguments, complaint);
}

}  // namespace
}  // namespace polaiga::engine::test
