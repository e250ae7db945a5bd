// The control socket of the running engine, and its limits.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <numeric>

#include "model/moment.h"
#include "support/client.h"
#include "support/forked_engine.h"
#include "support/shared_clock.h"

namespace polaiga::engine::test {
namespace run_control_test {

using namespace std::chrono_literals;
using Answers = std::vector<std::string>;
using nlohmann::json;

class RunControlTest : public RunTest {};

TEST_F(RunControlTest, StatusTellsHowTheEngineIs) {
  Child engine(with_control(), dir_);
  Client client(socket());
  client.send(slow(1) + slow(2) + well(2) + "[]\n");
  EXPECT_EQ(client.answers(4).at(2), taken(3));
  const json now = status();
  EXPECT_EQ(now.at("ledger_id"), ask("SELECT id FROM ledger").at(0));
  EXPECT_EQ(now.at("ledger_id").get<std::string>().size(), 32U);
  EXPECT_EQ(now.at("library_version"), POLAIGA_VERSION);
  EXPECT_EQ(now.at("last_seq"), 3);
  EXPECT_EQ(now.at("unwritten"), 0);
  EXPECT_EQ(now.at("last_number"), 3);
  EXPECT_EQ(now.at("oldest_number"), 1);
  EXPECT_EQ(now.at("active_faults"), 1);
  EXPECT_EQ(now.at("reports"), 1);
  EXPECT_EQ(now.at("max_active"), 20'000);
  EXPECT_EQ(now.at("not_tracked"), 0);
  EXPECT_EQ(now.at("bad_lines"), 1);
  EXPECT_EQ(now.at("clients"), 1);
  EXPECT_EQ(now.at("waiting_clients"), 0);
  EXPECT_GT(now.at("file_bytes"), 0);
  EXPECT_EQ(now.at("over_limit"), false);
  EXPECT_EQ(now.at("log_held_by_reader"), false);
  EXPECT_EQ(now.at("publishers"), json::array());
  EXPECT_FALSE(now.contains("problem"));
}

// What members of an object are not 0.
json not_zero(const json& counts) {
  json found = json::object();
  for (const auto& [kind, count] : counts.items()) {
    if (count != 0) found[kind] = count;
  }
  return found;
}

TEST_F(RunControlTest, StatusCountsWhatCameSinceTheStart) {
  {
    Child engine(with_control(), dir_);
    Client client(socket());
    client.send(slow(1) + slow(2) + slow(2) + well(2) +
                R"({"id":"a","entity":"fan","sensor":"FAN1_TACH1","instance":3,"offset":3,"state":1})"
                "\n"
                R"({"id":"a","entity":"fan","sensor":"FAN1_TACH1","instance":3,"offset":3,"state":1})"
                "\n");
    EXPECT_EQ(client.answers(6).back(), R"({"seq":5,"duplicate":true})");
    Client operators(control());
    EXPECT_EQ(answer(operators, R"({"do":"acknowledge","alarms":"1,5"})"), R"({"seq":6,"changes":2})");
    EXPECT_EQ(answer(operators, R"({"do":"comment","alarms":"1","comment":"seen"})"), R"({"seq":7,"changes":1})");
    const json now = status();
    EXPECT_EQ(not_zero(now.at("inputs")), json::parse(R"({"event":5,"acknowledge":1,"comment":1})"));
    EXPECT_EQ(now.at("inputs").size(), 11U);
    EXPECT_EQ(now.at("duplicates"), 1);
    EXPECT_EQ(not_zero(now.at("changes")),
              json::parse(R"({"raised":3,"refreshed":1,"cleared":1,"acknowledged":2,"commented":1})"));
    EXPECT_EQ(now.at("changes").size(), 17U);
    EXPECT_EQ(now.at("chattering"), 0);
    for (const char* const times : {"batch_times", "sync_times"}) {
      const std::vector<std::uint64_t> counts = now.at(times).at("counts");
      EXPECT_EQ(counts.size(), now.at(times).at("bounds_us").size() + 1) << times;
      // The actions are in a batch each, and the events in one to six.
      const auto all = std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
      EXPECT_GE(all, 3U) << times;
      EXPECT_LE(all, 20U) << times;
      EXPECT_GT(now.at(times).at("total_us"), 0) << times;
    }
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  }
  Child engine(with_control(), dir_);
  const json now = status();
  EXPECT_EQ(now.at("active_faults"), 2);
  EXPECT_EQ(not_zero(now.at("inputs")), json::object());
  EXPECT_EQ(not_zero(now.at("changes")), json::object());
  EXPECT_EQ(now.at("duplicates"), 0);
}

TEST_F(RunControlTest, ACursorIsWrittenByTheEngineAndOutlivesIt) {
  {
    Child engine(with_control(), dir_);
    Client events(socket());
    events.send(slow(1) + slow(2) + slow(3));
    EXPECT_EQ(events.answers(3).back(), taken(3));
    Client client(control());
    EXPECT_EQ(answer(client, R"({"do":"cursor","publisher":"snmp","through":2})"), R"({"ok":true})");
    EXPECT_EQ(ask("SELECT name || ' ' || change FROM publisher_cursor"), Answers({"snmp 2"}));
    EXPECT_EQ(answer(client, R"({"do":"cursor","publisher":"snmp","through":4})"),
              R"({"error":"The cursor is 4, but the last change is 3"})");
    EXPECT_EQ(stop(engine, SIGKILL).status, 128 + SIGKILL);
  }
  Child engine(with_control(), dir_);
  Client client(control());
  const json publishers = json::parse(answer(client, R"({"do":"status"})")).at("publishers");
  ASSERT_EQ(publishers.size(), 1U);
  EXPECT_EQ(publishers[0].at("publisher"), "snmp");
  EXPECT_EQ(publishers[0].at("through"), 2);
  EXPECT_EQ(publishers[0].at("behind"), 1);
  EXPECT_EQ(answer(client, R"({"do":"forget","publisher":"snmp"})"), R"({"ok":true})");
  EXPECT_EQ(answer(client, R"({"do":"forget","publisher":"snmp"})"), R"({"error":"There is no publisher 'snmp'"})");
  EXPECT_EQ(ask("SELECT count(*) FROM publisher_cursor"), Answers({"0"}));
}

// All that a publisher says of itself is told in the status, and nothing of it is in the ledger.
TEST_F(RunControlTest, WhatAPublisherReportsIsTold) {
  const std::string report =
      R"("peer":"mqtt.example:8883","connected":true,"told":2,"lost":0,"cut":1,"last_success":"2027-01-15T08:00:00Z",)"
      R"("last_error":"no route","last_error_at":"2027-01-15T07:00:00Z")";
  {
    Child engine(with_control(), dir_);
    Client events(socket());
    events.send(slow(1) + slow(2) + slow(3));
    EXPECT_EQ(events.answers(3).back(), taken(3));
    const std::string id = ask("SELECT id FROM ledger").at(0);
    Client client(control());
    EXPECT_EQ(
        answer(client, R"({"do":"cursor","publisher":"mqtt","through":2,"ledger_id":")" + id + "\"," + report + "}"),
        R"({"ok":true})");
    json told = status().at("publishers").at(0);
    EXPECT_LE(told.at("silent_s"), 30);
    told.erase("silent_s");
    const json wanted = json::parse(R"({"publisher":"mqtt","through":2,"behind":1,"updated":)" +
                                    told.at("updated").dump() + "," + report + "}");
    EXPECT_EQ(told, wanted);
    // What it does not say again is not known any more.
    EXPECT_EQ(answer(client, R"({"do":"cursor","publisher":"mqtt","through":2,"connected":false})"), R"({"ok":true})");
    told = status().at("publishers").at(0);
    EXPECT_EQ(told.at("connected"), false);
    EXPECT_FALSE(told.contains("peer"));
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  }
  Child engine(with_control(), dir_);
  const json told = status().at("publishers").at(0);
  EXPECT_EQ(told.at("through"), 2);
  EXPECT_FALSE(told.contains("connected"));
  EXPECT_FALSE(told.contains("silent_s"));
}

TEST_F(RunControlTest, ACursorOfAnotherLedgerIsRefused) {
  Child engine(with_control(), dir_);
  Client client(control());
  const std::string other(32, '0');
  EXPECT_EQ(answer(client, R"({"do":"cursor","publisher":"mqtt","through":0,"ledger_id":")" + other + "\"}"),
            R"({"error":"The request is for the ledger )" + other + ", but this one is " +
                ask("SELECT id FROM ledger").at(0) + "\"}");
  EXPECT_EQ(status().at("publishers"), json::array());
}

TEST_F(RunControlTest, AForgottenPublisherLeavesNoReport) {
  Child engine(with_control(), dir_);
  Client client(control());
  EXPECT_EQ(answer(client, R"({"do":"cursor","publisher":"a","through":0,"peer":"b"})"), R"({"ok":true})");
  EXPECT_EQ(answer(client, R"({"do":"forget","publisher":"a"})"), R"({"ok":true})");
  EXPECT_EQ(status().at("publishers"), json::array());
  EXPECT_EQ(answer(client, R"({"do":"cursor","publisher":"a","through":0})"), R"({"ok":true})");
  EXPECT_FALSE(status().at("publishers").at(0).contains("peer"));
}

// A publisher says every few seconds how it goes. That alone is not worth a write to flash.
TEST_F(RunControlTest, AReportThatMovesNothingIsSeldomWritten) {
  SharedClock clock;
  Child engine(forked_engine(options(), clock), dir_);
  Client client(control());
  const std::string report = R"({"do":"cursor","publisher":"a","through":0,"told":)";
  const auto updated = [&] { return std::stoll(ask("SELECT updated FROM publisher_cursor").at(0)); };
  EXPECT_EQ(answer(client, report + "0}"), R"({"ok":true})");
  const auto begin = updated();
  clock.pass(30);
  EXPECT_EQ(answer(client, report + "1}"), R"({"ok":true})");
  EXPECT_EQ(updated(), begin);
  json told = status().at("publishers").at(0);
  EXPECT_EQ(told.at("told"), 1);
  EXPECT_GE(parse_moment(told.at("updated").get<std::string>()), begin + 30);
  clock.pass(40);
  told = status().at("publishers").at(0);
  EXPECT_GE(told.at("silent_s"), 40);
  EXPECT_EQ(answer(client, report + "2}"), R"({"ok":true})");
  EXPECT_GE(updated(), begin + 70);
  // A cursor that moves is written at once, and so is one when the clock has gone back.
  Client events(socket());
  events.send(slow(1));
  EXPECT_EQ(events.answer(), taken(1));
  EXPECT_EQ(answer(client, R"({"do":"cursor","publisher":"a","through":1})"), R"({"ok":true})");
  EXPECT_EQ(ask("SELECT change FROM publisher_cursor"), Answers({"1"}));
  clock.set(-100'000);
  EXPECT_EQ(answer(client, R"({"do":"cursor","publisher":"a","through":1})"), R"({"ok":true})");
  EXPECT_LT(updated(), begin);
}

TEST_F(RunControlTest, TheNumberOfPublishersIsLimited) {
  Child engine(with_control(), dir_);
  Client client(control());
  const auto begin = [&](int number) {
    return answer(client, R"({"do":"cursor","publisher":"p)" + std::to_string(number) + R"(","through":0})");
  };
  for (int number = 1; number <= 32; ++number) ASSERT_EQ(begin(number), R"({"ok":true})");
  EXPECT_EQ(begin(33), R"({"error":"There are 32 publishers, which is the limit; forget one that is not used"})");
  EXPECT_EQ(begin(32), R"({"ok":true})");
  EXPECT_EQ(answer(client, R"({"do":"forget","publisher":"p1"})"), R"({"ok":true})");
  EXPECT_EQ(begin(33), R"({"ok":true})");
}

TEST_F(RunControlTest, ABadRequestIsRefusedAndTheNextOneCounts) {
  Child engine(with_control(), dir_);
  Client client(control());
  EXPECT_EQ(answer(client, "stop"), R"({"error":"The request is not JSON"})");
  EXPECT_EQ(answer(client, std::string(300'000, 'x')),
            R"({"error":"The line is longer than 256 KiB, which is the limit; select fewer alarms"})");
  EXPECT_EQ(json::parse(answer(client, R"({"do":"status"})")).at("last_seq"), 0);
}

TEST_F(RunControlTest, TheSocketIsForItsOwnerAndGroupAndGoesWithTheEngine) {
  Child engine(with_control(), dir_);
  status();
  struct stat made = {};
  ASSERT_EQ(::stat(control().c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 07777U, 0660U);
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_NE(::stat(control().c_str(), &made), 0);
}

TEST_F(RunControlTest, BeyondTheLimitOfActiveFaultsTheAnswerWarns) {
  Child engine(with_control("--max-active 2"), dir_);
  Client client(socket());
  client.send(slow(1) + slow(2) + slow(3) + slow(4) + well(1) + slow(3));
  const Answers answers = client.answers(6);
  const std::string warning =
      ",\"warning\":\"The event is recorded, but its fault is not tracked: the limit of active faults is reached "
      "(--max-active)\"}";
  EXPECT_EQ(answers, Answers({taken(1), taken(2), "{\"seq\":3" + warning, "{\"seq\":4" + warning, taken(5), taken(6)}));
  EXPECT_TRUE(engine.has_complained(
      "The limit of active faults is reached (--max-active 2; a fault counts once for each of its reporters)."));
  const json now = status();
  EXPECT_EQ(now.at("not_tracked"), 2);
  EXPECT_EQ(now.at("active_faults"), 2);
  EXPECT_EQ(ask("SELECT count(*) FROM event"), Answers({"6"}));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_NE(dir_.read("err").find(", 2 reports beyond the limit"), std::string::npos);
}

TEST_F(RunControlTest, LoneEventsShareAWriteWhenTheyMayWait) {
  SharedClock clock;
  RunOptions patient = options();
  patient.commit_within = 1000s;
  Child engine(forked_engine(patient, clock), dir_);
  Client first(socket());
  Client second(socket());
  first.send(slow(1));
  ASSERT_TRUE(wait_until("unwritten", 1));
  clock.pass(600);
  second.send(slow(2));
  ASSERT_TRUE(wait_until("unwritten", 2));
  EXPECT_EQ(events(), 0);
  EXPECT_FALSE(first.has_answer());
  EXPECT_FALSE(second.has_answer());
  clock.pass(600);  // the first has waited for 1200 s, the second for half of that
  ASSERT_TRUE(wait_until("unwritten", 0));
  EXPECT_EQ(events(), 2);
  EXPECT_EQ(first.answer(), taken(1));
  EXPECT_EQ(second.answer(), taken(2));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

// An engine that is told to stop writes what waits at once.
TEST_F(RunControlTest, WhatWaitsIsWrittenAtAStop) {
  RunOptions patient = options();
  patient.commit_within = 1000s;
  Child engine(forked_engine(patient), dir_);
  Client client(socket());
  client.send(slow(1));
  ASSERT_TRUE(wait_until("unwritten", 1));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_EQ(client.answer(), taken(1));
  EXPECT_EQ(events(), 1);
}

// What a publisher held back is past the retention once it is forgotten.
TEST_F(RunControlTest, TheLedgerIsTidiedWhenNothingComes) {
  Child engine(with_control("--keep-events 100"), dir_);
  Client client(control());
  EXPECT_EQ(answer(client, R"({"do":"cursor","publisher":"snmp","through":0})"), R"({"ok":true})");
  Client sender(socket());
  sender.send(repeated(slow(), 5000));
  EXPECT_EQ(sender.answers(5000).back(), taken(5000));
  EXPECT_EQ(events(), 5000);
  EXPECT_EQ(answer(client, R"({"do":"forget","publisher":"snmp"})"), R"({"ok":true})");
  EXPECT_TRUE(comes_true([this] { return events() <= 110; })) << events();
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

TEST_F(RunControlTest, ManyRequestsAtOnceAreAllAnsweredAndEventsBetweenThem) {
  Child engine(with_control(), dir_);
  Client sender(socket());
  sender.send(slow());
  EXPECT_EQ(sender.answer(), taken(1));
  Client client(control());
  const std::string request = R"({"do":"cursor","publisher":"snmp","through":1})"
                              "\n";
  engine.kill(SIGSTOP);
  const std::size_t sent = client.send_until_refused(repeated(request, 1000), 120'000);
  sender.send(slow());
  engine.kill(SIGCONT);
  EXPECT_EQ(sender.answer(), taken(2));
  const std::size_t requests = sent / request.size();
  EXPECT_EQ(client.answers(requests), Answers(requests, R"({"ok":true})"));
}

TEST_F(RunControlTest, ATimeNeedsItsUnit) {
  for (const char* time : {"50", "11s", "-1ms", "soon"}) {
    EXPECT_EQ(Shell().run(with_control(std::string("--commit-within ") + time)).status, 2) << time;
  }
}

// What the engine's decisions rest on is checked at the start, and the rest while it runs.
TEST_F(RunControlTest, TheLedgerIsCheckedWhileItRuns) {
  {
    Child engine(with_control(), dir_);
    Client client(socket());
    client.send(R"({"entity":"fan","sensor":"NEEDLE","offset":3,"state":1})"
                "\n");
    client.send(R"({"entity":"fan","sensor":"NEEDLE","offset":3,"state":0})"
                "\n");
    ASSERT_EQ(client.answers(2).back(), taken(2));
    for (int i = 0; i < 40; ++i) {  // more batches than a start checks
      client.send(slow(1));
      ASSERT_EQ(client.answer(), taken(3 + i));
    }
    ASSERT_TRUE(wait_until("checked_percent", 100));
    EXPECT_EQ(status().at("damage_found"), 0);
    ASSERT_EQ(stop(engine, SIGTERM).status, 0);
  }
  std::string content = dir_.read("ledger.db");
  const auto at = content.find("fanNEEDLE");
  ASSERT_NE(at, std::string::npos);
  content[at + 4] = 'X';
  dir_.write("ledger.db", content);
  Child engine(with_control(), dir_);
  EXPECT_TRUE(
      engine.has_complained("the ledger is damaged, but the engine can go on: subject 1: the row is damaged: its "
                            "checksum does not match; input 1 refers to it. `polaiga verify` tells more"));
  ASSERT_TRUE(wait_until("checked_percent", 100));
  EXPECT_GE(status().at("damage_found"), 1);
  EXPECT_EQ(status().at("active_faults"), 1);
  Client client(socket());
  client.send(slow(2));
  EXPECT_EQ(client.answer(), taken(43));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

// Events that wait for their write were handled under the tables of that time, and the
// ledger says so.
TEST_F(RunControlTest, TablesThatAreLoadedWhileEventsWait) {
  std::filesystem::copy(POLAIGA_TABLES_DIR, dir_.file("tables"));
  RunOptions patient = options();
  patient.commit_within = 1000s;
  patient.tables = dir_.file("tables");
  Child engine(forked_engine(patient), dir_);
  Client client(socket());
  client.send(slow(1));
  ASSERT_TRUE(wait_until("unwritten", 1));
  const std::string nm = dir_.read("tables/nm.tsv");
  dir_.write("tables/nm.tsv", nm.substr(0, nm.rfind('\n', nm.size() - 2) + 1));
  engine.kill(SIGHUP);
  EXPECT_EQ(client.answer(), taken(1));
  ASSERT_TRUE(engine.has_complained("The tables were loaded again."));
  client.send(slow(2));
  ASSERT_TRUE(wait_until("unwritten", 1));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_EQ(ask("SELECT length(tables.nm) FROM event JOIN setting ON setting.id = event.setting "
                "JOIN tables ON tables.id = setting.tables ORDER BY event.seq"),
            Answers({std::to_string(nm.size()), std::to_string(dir_.read("tables/nm.tsv").size())}));
}

}  // namespace run_control_test
}  // namespace polaiga::engine::test
