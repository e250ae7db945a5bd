#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <sstream>

#include "support/client.h"
#include "support/forked_engine.h"

namespace polaiga::engine::test {
namespace run_test {

using Answers = std::vector<std::string>;

TEST_F(RunTest, AnAnswerMeansThatTheEventIsInTheLedger) {
  Child engine(command(), dir_);
  Client client(socket());
  for (int i = 1; i <= 40; ++i) {
    client.send(i % 2 == 1 ? slow() : well());
    ASSERT_EQ(client.answer(), taken(i));
    ASSERT_EQ(ask("SELECT state FROM event WHERE seq = " + std::to_string(i)), Answers({i % 2 == 1 ? "1" : "0"}));
  }
  EXPECT_EQ(ask("SELECT fault_dn FROM records WHERE seq = 1"),
            Answers({"sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395"}));
  EXPECT_EQ(ask("SELECT count(*) FROM faults WHERE ending = 'cleared'"), Answers({"20"}));
}

TEST_F(RunTest, EachClientGetsTheAnswersToItsOwnLines) {
  constexpr int kClients = 8;
  constexpr int kLines = 200;
  Child engine(command(), dir_);
  std::vector<Client> clients;
  for (int i = 0; i < kClients; ++i) clients.emplace_back(socket());
  const auto id = [](int client, int line) { return "c" + std::to_string(client) + "-" + std::to_string(line); };
  for (int line = 0; line < kLines; ++line) {
    for (int i = 0; i < kClients; ++i) {
      clients[static_cast<std::size_t>(i)].send(line % 10 == 9 ? "[]\n" : slow(1 + i, id(i, line)));
    }
  }
  std::map<std::int64_t, std::string> ids;
  for (int i = 0; i < kClients; ++i) {
    std::int64_t last = 0;
    for (int line = 0; line < kLines; ++line) {
      const std::string answer = clients[static_cast<std::size_t>(i)].answer();
      if (line % 10 == 9) {
        ASSERT_EQ(answer, R"({"error":"not an object"})");
        continue;
      }
      ASSERT_GT(number_in(answer), last);
      last = number_in(answer);
      ids[last] = id(i, line);
    }
  }
  Answers in_order;
  for (const auto& [number, name] : ids) in_order.push_back(name);
  EXPECT_EQ(ids.size(), std::size_t{kClients} * kLines * 9 / 10);
  EXPECT_EQ(ids.rbegin()->first, std::int64_t{kClients} * kLines * 9 / 10);
  EXPECT_EQ(ask("SELECT id FROM event ORDER BY seq"), in_order);
}

TEST_F(RunTest, StandardInputIsAnsweredOnStandardOutput) {
  Child engine(without_socket(), dir_);
  engine.send(slow());
  EXPECT_TRUE(engine.has_printed(taken(1) + "\n"));
  EXPECT_EQ(events(), 1);
  engine.send("\n" + well());
  EXPECT_TRUE(engine.has_printed(taken(2) + "\n"));
  engine.close_input();
  const Ended got = engine.wait();
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.out, taken(1) + "\n" + taken(2) + "\n");
}

TEST_F(RunTest, TheEndOfStandardInputIsTheEnd) {
  const Shell shell;
  const std::string run = "$POLAIGA run --ledger '" + ledger() + "'";
  EXPECT_EQ(shell.run(run).status, 0);
  const Ended good = shell.run(run, slow() + well());
  EXPECT_EQ(good.status, 0);
  EXPECT_EQ(good.out, taken(1) + "\n" + taken(2) + "\n");
  const Ended bad = shell.run(run, slow() + "[]\n" + well());
  EXPECT_EQ(bad.status, 1);
  EXPECT_EQ(bad.out, taken(3) + "\n{\"error\":\"not an object\"}\n" + taken(4) + "\n");
  EXPECT_NE(bad.err.find("<stdin>:2: not an object\n"), std::string::npos) << bad.err;
}

TEST_F(RunTest, TheLastLineNeedsNoNewline) {
  const std::string line = slow();
  const std::string cut = line.substr(0, line.size() - 1);
  EXPECT_EQ(Shell().run(without_socket(), well() + cut).out, taken(1) + "\n" + taken(2) + "\n");
  Child engine(command(), dir_);
  Client client(socket());
  client.send(cut);
  client.finish();
  EXPECT_EQ(client.answer(), taken(3));
  EXPECT_TRUE(client.is_let_go());
}

TEST_F(RunTest, WithASocketTheEndOfStandardInputIsNoEnd) {
  Child engine(command(), dir_);
  engine.send(slow() + "[]\n");
  EXPECT_TRUE(engine.has_printed("not an object"));
  engine.close_input();
  Client client(socket());
  client.send(slow());
  EXPECT_EQ(client.answer(), taken(2));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);  // the bad line notwithstanding
}

TEST_F(RunTest, AClosedStandardInputIsAnEmptyOne) {
  const Ended got = Shell().run(without_socket() + " <&- 2>&-");
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.out, "");
}

TEST_F(RunTest, ManyMoreLinesThanFitAnywhere) {
  constexpr int kLines = 20'000;
  const Ended got = Shell().run(without_socket(), repeated(slow(), kLines));
  EXPECT_EQ(got.status, 0);
  std::istringstream answers(got.out);
  std::string answer;
  for (int i = 1; i <= kLines; ++i) {
    ASSERT_TRUE(std::getline(answers, answer));
    ASSERT_EQ(answer, taken(i));
  }
  EXPECT_FALSE(std::getline(answers, answer));
}

TEST_F(RunTest, AnIdIsTakenOnce) {
  {
    Child engine(command(), dir_);
    Client first(socket());
    first.send(slow(1, "a") + slow(1, "a") + slow(1, "b") + slow(1, "a"));  // in one batch
    EXPECT_EQ(first.answers(4), Answers({taken(1), known(1), taken(2), known(1)}));
    first.send(slow(1, "b"));
    EXPECT_EQ(first.answer(), known(2));
    Client second(socket());
    second.send(slow(1, "a") + well() + slow(1, "a"));
    EXPECT_EQ(second.answers(3), Answers({known(1), taken(3), known(1)}));
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  }
  Child engine(command(), dir_);
  Client client(socket());
  client.send(slow(1, "b") + slow(1, "c"));
  EXPECT_EQ(client.answers(2), Answers({known(2), taken(4)}));
  EXPECT_EQ(events(), 4);
  EXPECT_EQ(ask("SELECT fault_dn || ' ' || (ended IS NULL) FROM faults ORDER BY number"),
            Answers({"sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395 0",
                     "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395 1"}));
}

TEST_F(RunTest, TwoClientsWithOneIdAtOnce) {
  Child engine(command(), dir_);
  Client first(socket());
  Client second(socket());
  first.send(well());
  second.send(well());
  EXPECT_EQ(number_in(first.answer()) + number_in(second.answer()), 3);  // both are known to the engine
  engine.kill(SIGSTOP);
  first.send(slow(1, "a"));
  second.send(slow(1, "a"));
  engine.kill(SIGCONT);
  Answers answers{first.answer(), second.answer()};
  std::ranges::sort(answers);
  EXPECT_EQ(answers, Answers({known(3), taken(3)}));
  EXPECT_EQ(events(), 3);
}

TEST_F(RunTest, NumbersAndFaultsGoOnAfterARestart) {
  {
    Child engine(command(), dir_);
    Client client(socket());
    client.send(slow(1) + slow(2) + well(1));
    EXPECT_EQ(client.answers(3).back(), taken(3));
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  }
  Child engine(command(), dir_);
  Client client(socket());
  client.send(slow(2) + well(2));
  EXPECT_EQ(client.answers(2), Answers({taken(4), taken(5)}));
  EXPECT_EQ(outcomes(), Answers({"raised", "raised", "cleared", "refreshed", "cleared"}));
}

class StopTest : public RunTest, public ::testing::WithParamInterface<int> {};

TEST_P(StopTest, WhatWasSentBeforeIsTakenAndAnswered) {
  constexpr int kLines = 3000;
  Child engine(forked_engine(options()), dir_);
  Client first(socket());
  first.send(slow());
  EXPECT_EQ(first.answer(), taken(1));
  engine.kill(SIGSTOP);
  Client second(socket());  // nobody has let it in when the signal comes
  second.send(slow(2) + slow(3));
  const std::string lines = repeated(slow(), kLines);
  const std::size_t sent = first.send_until_refused(lines, lines.size());
  ASSERT_GT(sent, 100 * slow().size());
  engine.send(slow(4));
  engine.kill(GetParam());
  engine.kill(SIGCONT);
  for (std::size_t i = 0; i < sent / slow().size(); ++i) ASSERT_GT(number_in(first.answer()), 1);
  const Answers answers = second.answers(2);
  EXPECT_GT(number_in(answers.at(0)), 1);
  EXPECT_GT(number_in(answers.at(1)), number_in(answers.at(0)));
  const Ended got = engine.wait();
  EXPECT_EQ(got.status, 0) << got.err;
  EXPECT_GT(number_in(got.out), 1);
  EXPECT_TRUE(second.is_let_go());
  EXPECT_FALSE(std::filesystem::exists(socket()));
  EXPECT_EQ(ask("SELECT count(*) FROM inputs WHERE instance = 1"), Answers({std::to_string(1 + sent / slow().size())}));
  EXPECT_EQ(ask("SELECT count(*) FROM inputs WHERE instance IN (2, 3, 4)"), Answers({"3"}));
}

INSTANTIATE_TEST_SUITE_P(Signals, StopTest, ::testing::Values(SIGTERM, SIGINT));

TEST_F(RunTest, OneWhoNeverReadsDoesNotHoldTheStopUp) {
  RunOptions brief = options();
  brief.drain = std::chrono::seconds(1);
  Child engine(forked_engine(brief), dir_);
  const Client deaf(socket());
  ASSERT_LT(deaf.send_until_refused("[]\n", 100'000'000), 100'000'000U);
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);  // and not what one that does not end by itself has
  EXPECT_FALSE(std::filesystem::exists(socket()));
}

}  // namespace run_test
}  // namespace polaiga::engine::test
