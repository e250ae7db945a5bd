#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "support/client.h"

namespace polaiga::engine::test {
namespace run_service_test {

using Answers = std::vector<std::string>;

class RunServiceTest : public RunTest {
 protected:
  NotifySocket manager_{dir_.file("notify")};
};

TEST_F(RunServiceTest, TellsWhenItIsReadyAndWhenItStops) {
  Child engine(command(manager_.environment()), dir_);
  EXPECT_EQ(manager_.next(), "READY=1\nSTATUS=0 active faults, 0 inputs, 0 bad lines");
  Client client(socket());
  client.send(slow() + "[]\n");
  EXPECT_EQ(client.answers(2).front(), taken(1));
  EXPECT_EQ(manager_.next(), "STATUS=1 active fault, 1 input, 1 bad line");
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_EQ(manager_.next(), "STOPPING=1");
}

TEST_F(RunServiceTest, TheLastStatusIsToldEvenIfNothingElseHappens) {
  const auto begin = std::chrono::steady_clock::now();
  Child engine(command(manager_.environment()), dir_);
  EXPECT_NE(manager_.next("READY=1"), "");
  Client client(socket());
  for (int i = 1; i <= 200; ++i) {
    client.send(slow(i));
    ASSERT_EQ(client.answer(), taken(i));
  }
  EXPECT_NE(manager_.next("STATUS=", " 200 inputs"), "");
  // Not each of them, but one a second.
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - begin).count();
  EXPECT_LE(manager_.told().size(), 1 + static_cast<std::size_t>(seconds));
}

TEST_F(RunServiceTest, WithoutAWatchdogNobodyIsTold) {
  Child engine(command(manager_.environment() + " WATCHDOG_USEC=100000 WATCHDOG_PID=1"), dir_);
  EXPECT_NE(manager_.next("READY=1"), "");
  Client client(socket());
  for (int i = 1; i <= 100; ++i) {
    client.send(slow());
    ASSERT_EQ(client.answer(), taken(i));
  }
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_NE(manager_.next("STOPPING=1"), "");
  EXPECT_EQ(std::ranges::count(manager_.told(), "WATCHDOG=1"), 0);
}

TEST_F(RunServiceTest, TheWatchdogIsToldAgainAndAgain) {
  const std::string with_watchdog = manager_.environment() + " WATCHDOG_USEC=200000 ";
  const std::string of_this_process = "sh -c 'WATCHDOG_PID=$$ exec \"$0\" \"$@\"'";
  for (const std::string& environment : {with_watchdog, with_watchdog + of_this_process}) {
    const auto begin = std::chrono::steady_clock::now();
    Child engine(command(environment), dir_);
    EXPECT_NE(manager_.next("READY=1"), "");
    for (int i = 0; i < 5; ++i) EXPECT_EQ(manager_.next("WATCHDOG=1"), "WATCHDOG=1");
    // The first at once, then in half the time that it is waited for.
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(400));
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  }
}

class RunTablesTest : public RunServiceTest {
 protected:
  RunTablesTest() {
    for (const char* table : {"nm.tsv", "cmc.tsv", "drive_bp.tsv"}) {
      std::filesystem::copy(std::filesystem::path(POLAIGA_TABLES_DIR) / table, dir_.path());
    }
  }

  void change(const std::string& from, const std::string& to) const {
    std::string content = dir_.read("nm.tsv");
    const std::size_t at = content.find(from);
    ASSERT_NE(at, std::string::npos);
    dir_.write("nm.tsv", content.replace(at, from.size(), to));
  }

  std::string description(std::int64_t sequence) const {
    return ask("SELECT descr FROM records WHERE seq = " + std::to_string(sequence)).at(0);
  }
};

constexpr const char* kNodeManagerEvent = R"({"entity":"nm","sensor":"NM","offset":204,"state":1})"
                                          "\n";

TEST_F(RunTablesTest, AHangupLoadsTheTablesAnew) {
  Child engine(command(manager_.environment(), "--tables '" + dir_.path().string() + "'"), dir_);
  EXPECT_NE(manager_.next("READY=1"), "");
  Client client(socket());
  client.send(kNodeManagerEvent);
  EXPECT_EQ(client.answer(), taken(1));
  EXPECT_EQ(description(1), "Node manager does not reach the host: Restart the host");

  change("Restart the host", "Call the desk");
  engine.kill(SIGHUP);
  EXPECT_TRUE(manager_.next("RELOADING=1").starts_with("RELOADING=1\nMONOTONIC_USEC="));
  EXPECT_NE(manager_.next("READY=1"), "");
  client.send(kNodeManagerEvent);
  EXPECT_EQ(client.answer(), taken(2));
  EXPECT_EQ(description(2), "Node manager does not reach the host: Call the desk");

  change("204\t46", "204\tforty-six");
  engine.kill(SIGHUP);
  EXPECT_NE(manager_.next("RELOADING=1"), "");
  EXPECT_NE(manager_.next("READY=1"), "");
  const std::string complaint =
      dir_.file("nm.tsv") +
      ":8:5: entity_id: 'forty-six' is not a number from 0 to 255; the tables stay as they were\n";
  EXPECT_TRUE(engine.has_complained(complaint)) << dir_.read("err");
  client.send(kNodeManagerEvent);
  EXPECT_EQ(client.answer(), taken(3));
  EXPECT_EQ(description(3), "Node manager does not reach the host: Call the desk");
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

TEST_F(RunTablesTest, AtItsStartTheTablesMustBeRight) {
  change("204\t46", "204\tforty-six");
  const Ended got = Shell().run(without_socket() + " --tables '" + dir_.path().string() + "'");
  EXPECT_EQ(got.status, 2);
  EXPECT_NE(got.err.find(dir_.file("nm.tsv") + ":8:5: entity_id: "), std::string::npos) << got.err;
}

class RunPlaceTest : public RunTest {
 protected:
  void expect_taken(std::int64_t sequence) const {
    Client client(socket());
    client.send(slow());
    EXPECT_EQ(client.answer(), taken(sequence));
  }
};

TEST_F(RunPlaceTest, OneEngineALedger) {
  Child first(command(), dir_);
  expect_taken(1);
  const Ended second = Shell().run(without_socket(), slow());
  EXPECT_EQ(second.status, 2);
  EXPECT_EQ(second.out, "");
  EXPECT_NE(second.err.find(ledger() + ": another engine is using this ledger: process " + std::to_string(first.pid()) +
                            "\n"),
            std::string::npos)
      << second.err;
  expect_taken(2);
}

TEST_F(RunPlaceTest, OneEngineASocket) {
  Child first(command(), dir_);
  expect_taken(1);
  const Ended second = Shell().run("$POLAIGA run --ledger '" + dir_.file("other.db") + "' --socket '" + socket() + "'");
  EXPECT_EQ(second.status, 2);
  EXPECT_NE(second.err.find(socket() + ": another process listens at this socket"), std::string::npos) << second.err;
  expect_taken(2);
  EXPECT_EQ(stop(first, SIGTERM).status, 0);
}

TEST_F(RunPlaceTest, TheSocketOfAnEngineThatWasKilledIsTakenOver) {
  {
    Child killed(command(), dir_);
    expect_taken(1);
    EXPECT_EQ(stop(killed, SIGKILL).status, 128 + SIGKILL);
  }
  ASSERT_TRUE(std::filesystem::exists(socket()));
  Child engine(command(), dir_);
  expect_taken(2);
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_FALSE(std::filesystem::exists(socket()));
}

TEST_F(RunPlaceTest, WhatIsNoSocketIsLeftAlone) {
  dir_.write("events.sock", "a file");
  const Ended got = Shell().run(command());
  EXPECT_EQ(got.status, 2);
  EXPECT_NE(got.err.find(socket() + ": this file is not a socket and is left alone"), std::string::npos) << got.err;
  EXPECT_EQ(dir_.read("events.sock"), "a file");
}

TEST_F(RunPlaceTest, APathTooLongForASocket) {
  const std::string path = dir_.file(std::string(108 - dir_.file("").size(), 's'));
  ASSERT_EQ(path.size(), 108U);
  const Ended got = Shell().run(without_socket() + " --socket '" + path + "'");
  EXPECT_EQ(got.status, 2);
  EXPECT_NE(got.err.find(path + ": the path of a socket has at most 107 bytes"), std::string::npos) << got.err;
  const std::string longest = path.substr(0, 107);
  Child engine(without_socket() + " --socket '" + longest + "'", dir_);
  Client client(longest);
  client.send(slow());
  EXPECT_EQ(client.answer(), taken(1));
}

TEST_F(RunPlaceTest, TheSocketIsForItsOwnerAndGroup) {
  Child engine(command(), dir_);
  expect_taken(1);
  struct stat made = {};
  ASSERT_EQ(::stat(socket().c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 07777U, 0660U);
}

}  // namespace run_service_test
}  // namespace polaiga::engine::test
