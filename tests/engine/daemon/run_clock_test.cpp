// The engine by a clock that the test lets jump.
#include <gtest/gtest.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>

#include "support/client.h"
#include "support/forked_engine.h"
#include "support/shared_clock.h"

namespace polaiga::engine::test {
namespace run_clock_test {

using Answers = std::vector<std::string>;
using nlohmann::json;

constexpr std::int64_t kDay = 86'400;

class RunClockTest : public RunTest {
 protected:
  void start() {
    RunOptions with = options();
    with.retention = retention_;
    engine_.emplace(forked_engine(with, clock_), dir_);
  }

  // Answers with the exit status.
  int stop() { return test::stop(*engine_, SIGTERM).status; }

  // The request, and its answer.
  std::string act(const std::string& request) const {
    Client client(control());
    return answer(client, request);
  }

  // The changes of the kind with the person of each, of alarms and of objects; "-": nobody.
  Answers persons(const std::string& kind) const {
    Answers found;
    const Ended told = Shell().run("$POLAIGA tail --no-follow --after 0 --json --ledger '" + ledger() + "'");
    std::istringstream lines(told.out);
    for (std::string line; std::getline(lines, line);) {
      const json change = json::parse(line);
      if (change.at("change") == kind) found.push_back(change.at("action").value("person", "-"));
    }
    return found;
  }

  // How the operators treat each active alarm. Asking wakes the engine up, which waits for its own clock.
  Answers states() const {
    status();
    Answers found;
    std::istringstream lines(Shell().run("$POLAIGA active --all --json --ledger '" + ledger() + "'").out);
    for (std::string line; std::getline(lines, line);) found.push_back(json::parse(line).at("operator_state"));
    return found;
  }

  SharedClock clock_;
  Retention retention_;
  std::optional<Child> engine_;
};

TEST_F(RunClockTest, AClockThatGoesBackIsToldOnceAndChangesNoOrder) {
  start();
  Client client(socket());
  client.send(slow(1) + slow(2) + well(2));
  EXPECT_EQ(client.answers(3).back(), taken(3));
  clock_.set(-3600);
  client.send(slow(3));
  EXPECT_EQ(client.answer(), taken(4));
  client.send(slow(3));
  EXPECT_EQ(client.answer(), taken(5));
  EXPECT_EQ(stop(), 0);
  const std::string told = dir_.read("err");
  const std::string begin = "The clock went back by ";
  const std::size_t at = told.find(begin);
  ASSERT_NE(at, std::string::npos) << told;
  EXPECT_NEAR(std::stod(told.substr(at + begin.size())), 3600, 600);  // the seconds since the event before are missing
  EXPECT_EQ(told.find(begin, at + 1), std::string::npos) << told;
  EXPECT_EQ(ask("SELECT seq FROM event ORDER BY seq"), Answers({"1", "2", "3", "4", "5"}));
  EXPECT_EQ(ask("SELECT fault_dn FROM faults WHERE ended IS NULL ORDER BY number"),
            Answers({"sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395",
                     "sys/rack-unit-1/fan-module-1-3/fan-1/fault-F0395"}));
  EXPECT_EQ(ask("SELECT count(*) FROM event WHERE received < (SELECT received FROM event WHERE seq = 1) - 3500"),
            Answers({"2"}));
  EXPECT_EQ(ask("SELECT count(*) FROM event AS a JOIN event AS b ON b.seq = a.seq + 1 WHERE b.age < a.age"),
            Answers({"0"}));
}

// Retention by age is a year. A clock that is ten years ahead for one start, and
// one that is not set, take nothing and stop nothing.
TEST_F(RunClockTest, AWrongClockForOneStartDestroysNothing) {
  retention_ = {.events = 0, .days = 365};
  for (const std::int64_t offset : {std::int64_t{0}, 3650 * kDay, -std::time(nullptr) + 100, std::int64_t{0}}) {
    clock_.set(offset);
    start();
    Client client(socket());
    client.send(slow(1) + well(1));
    client.answers(2);
    EXPECT_EQ(stop(), 0);
  }
  EXPECT_EQ(ask("SELECT seq FROM event ORDER BY seq"), Answers({"1", "2", "3", "4", "5", "6", "7", "8"}));
  // Thirteen months later, a month a start at most, the first ones are over a year old.
  for (int month = 1; month <= 13; ++month) {
    clock_.set(month * 31 * kDay);
    start();
    Client client(socket());
    client.send(slow(1) + well(1));
    client.answers(2);
    EXPECT_EQ(stop(), 0);
  }
  EXPECT_EQ(ask("SELECT count(*) FROM event WHERE seq <= 8"), Answers({"0"}));
  EXPECT_EQ(ask("SELECT count(*) FROM event WHERE seq >= 20"), Answers({"15"}));
}

// What operators began for half a minute, and for longer.
TEST_F(RunClockTest, AShelfAndMaintenanceEndByThemselves) {
  start();
  Client client(socket());
  client.send(slow(1) + slow(2) + slow(3));
  ASSERT_EQ(client.answers(3).back(), taken(3));
  EXPECT_EQ(act(R"({"do":"shelve","alarms":"1","comment":"noise","for":3000})"), R"({"seq":4,"changes":1})");
  EXPECT_EQ(act(R"({"do":"maintain","dn":"sys/rack-unit-1/fan-module-1-2","comment":"swap","for":3000})"),
            R"({"seq":5,"changes":2})");
  EXPECT_EQ(act(R"({"do":"shelve","alarms":"3","comment":"noise","for":9000})"), R"({"seq":6,"changes":1})");
  EXPECT_EQ(states(), (Answers{"shelved", "none", "shelved"}));
  EXPECT_EQ(persons("back_in_service"), Answers{});
  clock_.pass(4000);
  EXPECT_TRUE(comes_true([this] { return states() == Answers{"unshelved", "none", "shelved"}; }));
  EXPECT_TRUE(comes_true([this] { return persons("back_in_service").size() == 2; }));
  EXPECT_EQ(persons("unshelved"), Answers{"-"});
  EXPECT_EQ(persons("back_in_service"), (Answers{"-", "-"}));
  EXPECT_EQ(Shell().run("$POLAIGA maintenance --json --ledger '" + ledger() + "'").out, "");
  // Not before its time.
  const Ended history = Shell().run("$POLAIGA history --json --ledger '" + ledger() + "'");
  const json alarm = json::parse(history.out.substr(0, history.out.find('\n')));
  const json& actions = alarm.at("actions");
  ASSERT_EQ(actions.size(), 2U);
  EXPECT_GE(actions[1].at("at").get<std::string>(), actions[0].at("until").get<std::string>());
  EXPECT_EQ(stop(), 0);
  EXPECT_EQ(Shell().run("$POLAIGA verify --ledger '" + ledger() + "'").status, 0);
}

TEST_F(RunClockTest, WhatEndsWhileTheEngineIsDownEndsAtItsNextStart) {
  for (const int signal : {SIGKILL, SIGTERM}) {
    SCOPED_TRACE("ended by " + std::to_string(signal));
    for (const char* part : {"", "-wal", "-shm", "-mark"}) std::filesystem::remove(ledger() + part);
    clock_.set(0);
    start();
    Client client(socket());
    client.send(slow(1) + slow(2));
    ASSERT_EQ(client.answers(2).back(), taken(2));
    EXPECT_EQ(act(R"({"do":"shelve","alarms":"1","comment":"noise","for":3000})"), R"({"seq":3,"changes":1})");
    EXPECT_EQ(act(R"({"do":"maintain","dn":"sys/a","comment":"swap","for":3000})"), R"({"seq":4,"changes":1})");
    EXPECT_EQ(act(R"({"do":"shelve","alarms":"2","comment":"noise","for":9000})"), R"({"seq":5,"changes":1})");
    test::stop(*engine_, signal);
    ASSERT_EQ(persons("unshelved"), Answers{});
    clock_.set(4000);
    for (int begin = 1; begin <= 2; ++begin) {
      SCOPED_TRACE("start " + std::to_string(begin));
      start();
      EXPECT_TRUE(comes_true([this] { return states() == Answers{"unshelved", "shelved"}; }));
      EXPECT_TRUE(comes_true([this] { return persons("back_in_service").size() == 1; }));
      EXPECT_EQ(Shell().run("$POLAIGA maintenance --json --ledger '" + ledger() + "'").out, "");
      EXPECT_EQ(stop(), 0);
      EXPECT_EQ(persons("unshelved"), Answers{"-"});
      EXPECT_EQ(persons("back_in_service"), Answers{"-"});
    }
    EXPECT_EQ(Shell().run("$POLAIGA verify --ledger '" + ledger() + "'").status, 0);
  }
}

}  // namespace run_clock_test
}  // namespace polaiga::engine::test
